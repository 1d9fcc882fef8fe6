// Reads the "CELL" database, and what the platform records beside it. Never writes a value, never logs, never waits for
// a writer.
#pragma once

#include <string>
#include <utility>

#include "store/reader.h"
#include "view/observation.h"

namespace zelt_top {

class database {
public:
    explicit database(std::string folder)
        : folder_(folder), reader_(std::move(folder), "CELL", view::PLATFORM_DATABASE) {}

    // All keys as of one commit. Finds the database again when its folder was made anew.
    view::reading read();

private:
    std::string folder_;
    sysdb_reader reader_;
};

}  // namespace zelt_top
