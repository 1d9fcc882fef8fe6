#include "sim/inside/router_files.h"

#include <filesystem>
#include <system_error>

#include <fcntl.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include "posix/clock.h"
#include "posix/descriptor.h"
#include "posix/failure.h"
#include "sim/handover.h"
#include "sim/text_file.h"

namespace {

namespace fs = std::filesystem;

std::string problem(const std::string &path, const std::error_code &error) {
    return error ? path + ": " + error.message() : "";
}

// Only an ordinary file: a device or a FIFO would make the box wait, or never end. And no link, as "/dev/stdin" is one
// to a file of the host that we may write. Not open otherwise.
descriptor open_ordinary(const std::string &path, int how) {
    constexpr mode_t MODE = 0666;
    descriptor file(open(path.c_str(), how | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC, MODE));
    struct stat found {};
    if (file.is_open() && (fstat(file.get(), &found) != 0 || !S_ISREG(found.st_mode))) {
        file.close();
    }
    return file;
}

std::string write_whole(const std::string &path, const std::string &bytes) {
    const descriptor file = open_ordinary(path, O_WRONLY | O_CREAT | O_TRUNC);
    const auto size = static_cast<ssize_t>(bytes.size());
    return file.is_open() && write(file.get(), bytes.data(), bytes.size()) == size ? "" : path + ": cannot be written";
}

}  // namespace

void join_run_folders() {
    std::error_code ignored;
    const bool joined = fs::equivalent("/var/run", "/run", ignored);
    throw_unless(joined || mount("/run", "/var/run", nullptr, MS_BIND, nullptr) == 0, "/var/run");
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
    return open_ordinary(path, O_WRONLY | O_CREAT).is_open() ? "" : path + ": cannot be created";
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
    return write_whole(path, std::to_string(seconds_since_boot() + offset_seconds));
}

std::optional<std::string> file_content(const std::string &path) {
    const descriptor file = open_ordinary(path, O_RDONLY);
    return file.is_open() ? read_text(file.get()) : std::nullopt;
}
