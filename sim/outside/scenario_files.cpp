#include "sim/outside/scenario_files.h"

#include <optional>
#include <system_error>
#include <utility>

#include <fcntl.h>

#include "posix/descriptor.h"
#include "sim/handover.h"
#include "sim/scenario/scenario.h"
#include "sim/text_file.h"

namespace fs = std::filesystem;

// Beside this program in the build folder, in the data folder when installed.
fs::path shipped_scenarios() {
    const fs::path beside = own_folder() / "scenarios";
    return fs::is_directory(beside) ? beside : own_folder().parent_path() / "share/zelt-stats/scenarios";
}

fs::path find_scenario(const std::string &name) {
    const fs::path shipped = shipped_scenarios() / (name + ".scenario");
    std::error_code error;
    const bool is_file = fs::exists(name, error) && !fs::is_directory(name, error);
    return !is_file && name.find('/') == std::string::npos && fs::exists(shipped) ? shipped : fs::path(name);
}

std::string read_scenario(const fs::path &path) {
    std::error_code error;
    if (fs::is_directory(path, error)) {
        throw scenario_error(path.string() + ": is a folder; `zelt-sim list " + path.string() +
                             "` names the scenarios in it");
    }
    const descriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
    std::optional<std::string> text = file.is_open() ? read_text(file.get()) : std::nullopt;
    if (!text) {
        throw scenario_error((path.empty() ? "\"\"" : path.string()) +
                             ": cannot be read; `zelt-sim list` names the shipped scenarios");
    }
    if (text->size() > LARGEST_TEXT) {
        throw scenario_error(path.string() + ": is longer than " + std::to_string(LARGEST_TEXT >> 20) + " MiB");
    }
    return *std::move(text);
}
