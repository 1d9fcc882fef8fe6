// How long after a commit a program that waits for changes has read them: prints the microseconds of each of 500
// commits of a second process, a line each. What sysdb watch and zelt-top wait for in the same way.
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include "store/environment.h"
#include "store/reader.h"
#include "store/transaction.h"

namespace {

using namespace std::chrono_literals;

constexpr int COMMITS = 500;
constexpr const char *KEY = "SENT";

double microseconds_now() {
    return std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

// Far enough apart that each commit finds the reader asleep.
void write_commits(const std::string &folder) {
    sysdb_environment environment;
    if (environment.open(folder, sysdb_access::create) != 0) {
        std::_Exit(1);
    }
    for (int i = 0; i < COMMITS; ++i) {
        std::this_thread::sleep_for(5ms);
        sysdb_transaction transaction;
        transaction.begin(environment, "CELL", sysdb_access::create);
        transaction.put(KEY, microseconds_now());
        transaction.commit();
    }
}

void read_commits(const std::string &folder) {
    sysdb_reader reader(folder, "CELL");
    double last_sent = 0;
    for (int seen = 0; seen < COMMITS;) {
        sysdb_values values;
        std::vector<std::string> foreign;
        if (reader.list(&values, &foreign) == 0) {
            const double sent = std::get<double>(values[KEY]);
            if (sent != last_sent) {
                std::printf("%.1f\n", microseconds_now() - sent);
                last_sent = sent;
                ++seen;
            }
        }
        const sysdb_wait wait = reader.wait();
        pollfd change{wait.fd, POLLIN, 0};
        if (poll(&change, 1, 2000) == 0 && last_sent != 0) {
            return;  // the writer is through
        }
        reader.has_changed();
    }
}

}  // namespace

int main() try {
    std::string folder = std::filesystem::temp_directory_path() / "zelt-notice-XXXXXX";
    if (mkdtemp(folder.data()) == nullptr) {
        return 1;
    }
    const pid_t writer = fork();
    if (writer == 0) {
        write_commits(folder);
        std::_Exit(0);
    }
    read_commits(folder);
    waitpid(writer, nullptr, 0);
    std::filesystem::remove_all(folder);
} catch (const std::exception &) {
    return 1;
}
