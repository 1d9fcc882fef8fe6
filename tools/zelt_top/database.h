// Reads the "CELL" database, and nothing else in it. Never writes a value, never logs, never waits for a writer.
#pragma once

#include <string>

#include "store/environment.h"
#include "tools/zelt_top/observation.h"

namespace zelt_top {

class database {
public:
    explicit database(std::string folder) : folder_(std::move(folder)) {}

    // All keys as of one commit. Finds the database again when its folder was made anew.
    reading read();

private:
    int read_into(reading &result);

    std::string folder_;
    sysdb_environment environment_;
};

}  // namespace zelt_top
