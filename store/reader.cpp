#include "store/reader.h"

#include <array>
#include <cerrno>
#include <climits>
#include <filesystem>
#include <utility>

#include <fcntl.h>
#include <sys/inotify.h>
#include <unistd.h>

#include "store/transaction.h"

namespace {

// Where the kernel gives no notices: soon enough for a person, rare enough for a battery.
constexpr int UNWATCHED_LOOK_MS = 2000;

// LMDB writes a commit to the file first, and lets readers have it a moment later: microseconds, but longer when the
// writer loses the processor in between.
constexpr int CATCH_UP_MS = 20;

// Of the data file. LMDB writes it with pwrite(), so that the kernel sees every commit; its page in the file counts the
// commits. IN_ATTRIB tells that the file lost its name while it is open here.
constexpr std::uint32_t FILE_EVENTS = IN_MODIFY | IN_ATTRIB | IN_MOVE_SELF;

constexpr std::uint32_t NEW_NAMES = IN_CREATE | IN_MOVED_TO | IN_ONLYDIR;
constexpr std::uint32_t FOLDER_EVENTS = NEW_NAMES | IN_MOVED_FROM | IN_DELETE | IN_DELETE_SELF | IN_MOVE_SELF;

bool watch(const descriptor &notices, const std::string &path, std::uint32_t events) {
    return inotify_add_watch(notices.get(), path.c_str(), events) >= 0;
}

std::string folder_above(const std::string &folder) {
    const std::string above = std::filesystem::path(folder).parent_path();
    return above.empty() ? "." : above;
}

// Takes all notices away: what they are about, in the words of inotify.
std::uint32_t take_notices(const descriptor &notices) {
    alignas(inotify_event) std::array<char, 4096> buffer = {};
    std::uint32_t events = 0;
    ssize_t bytes = 0;
    while ((bytes = read(notices.get(), buffer.data(), buffer.size())) > 0) {
        for (std::size_t at = 0; at < static_cast<std::size_t>(bytes);) {
            const auto *event = reinterpret_cast<const inotify_event *>(buffer.data() + at);
            events |= event->mask;
            at += sizeof *event + event->len;
        }
    }
    return events;
}

}  // namespace

// From the folder down to the file: what appears below a folder after it is watched is noticed.
bool sysdb_reader::watch_folder() const {
    if (watch(notices_, folder_, FOLDER_EVENTS)) {
        return true;
    }
    // Again behind the folder above: it may have been made in between.
    return errno == ENOENT && watch(notices_, folder_above(folder_), NEW_NAMES | IN_DELETE_SELF | IN_MOVE_SELF) &&
           (watch(notices_, folder_, FOLDER_EVENTS) || errno == ENOENT);
}

// Anew, since the watches of before hang on files that may have lost their names. The number of the descriptor stays.
bool sysdb_reader::watch_files() {
    descriptor fresh(inotify_init1(IN_NONBLOCK | IN_CLOEXEC));
    if (!fresh.is_open()) {
        return false;
    }
    if (!notices_.is_open()) {
        notices_ = std::move(fresh);
    } else if (dup3(fresh.get(), notices_.get(), O_CLOEXEC) < 0) {
        return false;
    }
    return watch_folder() && (watch(notices_, folder_ + "/data.mdb", FILE_EVENTS) || errno == ENOENT);
}

int sysdb_reader::open_latest() {
    environment_.close();
    is_shaken_ = false;
    is_watching_ = watch_files();  // before the look: what happens from here on is noticed
    return environment_.open(folder_, sysdb_access::read);
}

int sysdb_reader::read(sysdb_values *values, std::vector<std::string> *foreign_keys) {
    values_beside_.clear();
    const bool is_another = environment_.is_stale();
    if (is_another || is_shaken_ || !environment_.is_open()) {
        if (const int result = open_latest(); result != 0) {
            commit_read_ = sysdb_is_absent(result) ? 0 : commit_read_;  // what comes in its place counts anew
            return result;
        }
    }
    sysdb_transaction transaction;
    const int result = transaction.begin(environment_, named_database_.c_str(), sysdb_access::read);
    if (result == 0 || sysdb_is_absent(result)) {
        const std::size_t before = std::exchange(commit_read_, transaction.commit_read());
        changes_ += is_another || before != commit_read_ ? 1 : 0;
    }
    if (result == 0 && !beside_.empty()) {
        read_beside(transaction);
        transaction.use(named_database_.c_str(), sysdb_access::read);
    }
    return result != 0 ? result : transaction.list(values, foreign_keys);
}

// Whatever is wrong with it: the first database is what counts.
void sysdb_reader::read_beside(sysdb_transaction &transaction) {
    std::vector<std::string> foreign_keys;
    if (transaction.use(beside_.c_str(), sysdb_access::read) == 0) {
        transaction.list(&values_beside_, &foreign_keys);
    }
}

int sysdb_reader::list(sysdb_values *values, std::vector<std::string> *foreign_keys) {
    const int result = read(values, foreign_keys);
    is_readable_ = result == 0 || sysdb_is_absent(result);
    if (!is_readable_) {
        environment_.close();  // opening it anew mends what can be mended, such as the slots of killed readers
    }
    return result;
}

bool sysdb_reader::is_outdated() const {
    return is_shaken_ ||
           (environment_.is_open() && (environment_.is_stale() || environment_.change_counter() != commit_read_));
}

bool sysdb_reader::has_changed() {
    const std::uint32_t events = take_notices(notices_);
    // A write alone is told by the counter. While there is nothing to count in, it may be what makes the database.
    is_shaken_ |= (environment_.is_open() ? events & ~static_cast<std::uint32_t>(IN_MODIFY) : events) != 0;
    return !environment_.is_open() || is_outdated();
}

sysdb_wait sysdb_reader::wait() const {
    const bool is_told = is_watching_ && is_readable_;
    return {is_watching_ ? notices_.get() : -1, is_outdated() ? CATCH_UP_MS : is_told ? -1 : UNWATCHED_LOOK_MS};
}
