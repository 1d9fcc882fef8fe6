#include "base/json_line.h"

#include <json/writer.h>

// FastWriter is deprecated in favour of a builder whose output differs in white space. The text goes over the wire
// as it stands, so the writer is part of the contract.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
std::string json_line(const Json::Value &value) {
    return Json::FastWriter().write(value);
}
#pragma GCC diagnostic pop
