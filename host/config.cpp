// The configuration store: one JSON object in a file, read anew at every question, because it may appear or change at
// any time. Never blocks. Why the file cannot be used, and what it does not hold, is said on standard error, once per
// reason.
#include "platform/config.h"

#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <string_view>

#include <fcntl.h>
#include <json/reader.h>
#include <sys/stat.h>
#include <unistd.h>

#include "host/say_once.h"
#include "posix/descriptor.h"

namespace {

// A router's whole configuration has some tens of kB; the limit keeps a wrong file from filling the memory.
constexpr std::size_t LARGEST_FILE_BYTES = std::size_t{1024} * 1024;

const char *file_path() {
    const char *path = std::getenv("ZELT_CONFIG");
    return path != nullptr && *path != '\0' ? path : "/etc/zelt/config.json";
}

// Either the result or the reason why there is none.
struct file_text {
    std::string text;
    std::string problem;
};

file_text read_file(const char *path) {
    // O_NONBLOCK: a FIFO at this place must not make us wait for its writer.
    const descriptor file(open(path, O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    struct stat status = {};
    if (!file.is_open() || fstat(file.get(), &status) != 0) {
        return {"", errno == ENOENT ? "does not exist; write it, an empty one is {}, or name another one in "
                                      "ZELT_CONFIG"
                                    : std::strerror(errno)};
    }
    if (!S_ISREG(status.st_mode)) {
        return {"", "is not a regular file"};
    }
    file_text result;
    std::array<char, 16384> piece = {};
    for (;;) {
        const ssize_t size = read(file.get(), piece.data(), piece.size());
        if (size <= 0) {
            result.problem = size < 0 ? std::strerror(errno) : "";
            return result;
        }
        result.text.append(piece.data(), static_cast<std::size_t>(size));
        if (result.text.size() > LARGEST_FILE_BYTES) {
            return {"", "has more than 1 MiB; this is no configuration"};
        }
    }
}

// "* Line 3, Column 5\n  Missing ':' ...\n..." of the parser becomes "line 3: Missing ':' ...".
std::string first_error(const std::string &errors) {
    const std::string_view before_number = "* Line ";
    std::istringstream lines(errors);
    std::string place;
    std::string message;
    std::getline(lines, place);
    std::getline(lines >> std::ws, message);
    if (!place.starts_with(before_number)) {
        return errors;
    }
    place.erase(0, before_number.size());
    return "line " + place.substr(0, place.find(',')) + ": " + message;
}

// Strict: no comments, no trailing text, no repeated names, nothing but an object or an array at the top. The parser
// throws Json::RuntimeError when values are nested a thousand deep, before its recursion could exhaust the stack.
std::string parse_object(const std::string &text, Json::Value *object) {
    Json::CharReaderBuilder builder;
    Json::CharReaderBuilder::strictMode(&builder.settings_);
    const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    std::string errors;
    if (!reader->parse(text.data(), text.data() + text.size(), object, &errors)) {
        return first_error(errors);
    }
    return object->isObject() ? "" : "line 1: the whole file must be one object, { ... }";
}

// The daemon asks again every second: a reason is told when it is news. A file that works makes every reason news.
void tell_once(const char *path, const std::string &problem) {
    static std::string last_told;
    const std::string news =
        problem.empty() ? "" : "zelt: waiting for the configuration: " + std::string(path) + ": " + problem;
    if (news != last_told && !news.empty()) {
        say(news);
    }
    last_told = news;
}

std::optional<Json::Value> read_configuration() {
    const char *path = file_path();
    Json::Value object;
    file_text file = read_file(path);
    try {
        if (file.problem.empty()) {
            file.problem = parse_object(file.text, &object);
        }
    } catch (const Json::RuntimeError &e) {
        const bool too_deep = std::string_view(e.what()).starts_with("Exceeded stackLimit");
        file.problem = too_deep ? "values are nested too deep" : "no memory is left to read it";
    }
    tell_once(path, file.problem);
    return file.problem.empty() ? std::optional(std::move(object)) : std::nullopt;
}

// Walks objects only: a list or a plain value on the way ends it like a missing name does. Null when absent.
const Json::Value *value_at(const Json::Value &root, std::string_view dotted_path) {
    const Json::Value *value = &root;
    for (;;) {
        const std::size_t dot = dotted_path.find('.');
        const std::string_view name = dotted_path.substr(0, dot);
        value = value->isObject() ? value->find(name.data(), name.data() + name.size()) : nullptr;
        if (value == nullptr || dot == std::string_view::npos) {
            return value;
        }
        dotted_path.remove_prefix(dot + 1);
    }
}

}  // namespace

int cmd_get_value_json(const char *path, Json::Value &out) try {
    const std::optional<Json::Value> configuration = read_configuration();
    if (!configuration) {
        return -1;
    }
    const Json::Value *value = value_at(*configuration, path);
    if (value == nullptr) {
        say_once("zelt: " + std::string(file_path()) + " holds no \"" + path + "\"; it counts as empty");
    }
    Json::Value copy = value != nullptr ? *value : Json::Value();
    out.swap(copy);
    return 0;
} catch (const std::exception &) {  // no memory; the daemon asks again
    return -1;
}

bool config_get_string(const Json::Value &config, std::string *out, const std::string &dotted_key) {
    const Json::Value *value = value_at(config, dotted_key);
    if (value == nullptr || !value->isString()) {
        return false;
    }
    *out = value->asString();
    return true;
}

// Json::Value::isInt() takes 1.0 for an integer. Here a number with a fraction or an exponent is none: it is a slip,
// or meant for somebody else.
bool config_get_int(const Json::Value &config, int *out, const std::string &dotted_key) {
    const Json::Value *value = value_at(config, dotted_key);
    if (value == nullptr || value->type() == Json::realValue || !value->isInt()) {
        return false;
    }
    *out = value->asInt();
    return true;
}

bool config_get_bool(const Json::Value &config, bool *out, const std::string &dotted_key) {
    const Json::Value *value = value_at(config, dotted_key);
    if (value == nullptr || !value->isBool()) {
        return false;
    }
    *out = value->asBool();
    return true;
}
