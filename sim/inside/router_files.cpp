#include "sim/inside/router_files.h"

#include <cerrno>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <system_error>

#include <sys/mount.h>

#include "sim/handover.h"

namespace {

namespace fs = std::filesystem;

std::string problem(const std::string &path, const std::error_code &error) {
    return error ? path + ": " + error.message() : "";
}

std::string write_whole(const std::string &path, const std::string &bytes) {
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file << bytes;
    file.close();
    return file ? "" : path + ": cannot be written";
}

}  // namespace

void join_run_folders() {
    std::error_code ignored;
    if (!fs::equivalent("/var/run", "/run", ignored) && mount("/run", "/var/run", nullptr, MS_BIND, nullptr) != 0) {
        throw std::system_error(errno, std::generic_category(), "/var/run");
    }
}

void prepare_config() {
    fs::create_directories(fs::path(BOX_CONFIG).parent_path());
}

std::string write_config(const std::string &json) {
    // Readers see the old file or the new one, never half of it.
    const std::string fresh = std::string(BOX_CONFIG) + ".new";
    if (std::string wrong = write_whole(fresh, json); !wrong.empty()) {
        return wrong;
    }
    std::error_code error;
    fs::rename(fresh, BOX_CONFIG, error);
    return problem(BOX_CONFIG, error);
}

std::string touch_file(const std::string &path) {
    std::ofstream file(path, std::ios::app);
    return file ? "" : path + ": cannot be created";
}

std::string remove_file(const std::string &path) {
    std::error_code error;
    fs::remove_all(path, error);
    return problem(path, error);
}

std::string make_directory(const std::string &path) {
    std::error_code error;
    fs::create_directories(path, error);
    return problem(path, error);
}

std::string write_file(const std::string &path, const std::string &bytes) {
    std::error_code ignored;
    fs::create_directories(fs::path(path).parent_path(), ignored);
    return write_whole(path, bytes);
}

std::string write_uptime(const std::string &path, long long offset_seconds) {
    timespec now{};
    clock_gettime(CLOCK_BOOTTIME, &now);
    return write_whole(path, std::to_string(now.tv_sec + offset_seconds));
}

std::optional<std::string> file_content(const std::string &path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        return std::nullopt;
    }
    return std::string(std::istreambuf_iterator<char>(file), {});
}
