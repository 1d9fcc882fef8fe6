#include "sim/outside/scenario_files.h"

#include <fstream>
#include <iterator>
#include <system_error>

#include "sim/handover.h"
#include "sim/scenario/scenario.h"

namespace fs = std::filesystem;

// Beside an installed program, else in the source tree from which this one was built.
fs::path shipped_scenarios() {
    const fs::path installed = own_folder().parent_path() / "share/zelt-stats/scenarios";
    return fs::is_directory(installed) ? installed : fs::path(ZELT_SCENARIOS);
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
    std::ifstream file(path, std::ios::binary);
    std::string text(std::istreambuf_iterator<char>(file), {});
    if (!file.is_open() || file.bad()) {
        throw scenario_error((path.empty() ? "\"\"" : path.string()) +
                             ": cannot be read; `zelt-sim list` names the shipped scenarios");
    }
    return text;
}
