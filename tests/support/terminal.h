// Programs as a person starts them in a terminal, and what becomes of them.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <map>
#include <string>

#include "tests/support/becomes_true.h"
#include "tests/support/other_process.h"
#include "tests/support/pseudo_terminal.h"
#include "tests/support/temporary_folder.h"

// 0 for what does not begin with a number.
inline pid_t to_pid(const char *text) {
    return static_cast<pid_t>(std::strtol(text, nullptr, 10));
}

// The process and all below it, with their command lines.
inline std::map<pid_t, std::string> family(pid_t eldest) {
    std::map<pid_t, pid_t> parents;
    for (const auto &entry : std::filesystem::directory_iterator("/proc")) {
        const pid_t pid = to_pid(entry.path().filename().c_str());
        if (pid <= 0) {
            continue;
        }
        const std::string stat = content_of(entry.path() / "stat");
        const auto name_end = stat.rfind(") ");  // the state follows, then the parent
        if (name_end != std::string::npos && stat[name_end + 2] != 'Z') {
            parents[pid] = to_pid(stat.c_str() + name_end + 4);
        }
    }
    std::map<pid_t, std::string> found;
    for (const auto &[pid, parent] : parents) {
        for (pid_t above = pid; above > 1; above = parents.contains(above) ? parents[above] : 0) {
            if (above == eldest) {
                found[pid] = content_of("/proc/" + std::to_string(pid) + "/cmdline");
            }
        }
    }
    return found;
}

inline bool is_alive(pid_t pid) {
    const std::string stat = content_of("/proc/" + std::to_string(pid) + "/stat");
    return !stat.empty() && stat[stat.rfind(") ") + 2] != 'Z';
}

// A program in a terminal of 80x24.
class terminal {
public:
    explicit terminal(const std::string &line)
        : program_(terminal_.run([&line] {
              setenv("TERM", "xterm-256color", 1);
              setenv("LC_ALL", "C.UTF-8", 1);
              return become({"/bin/sh", "-c", "exec " + line});
          })) {}

    bool shows(const std::string &text) {
        return becomes_true([&] { return output().find(text, seen_) != std::string::npos; });
    }
    void forget() { seen_ = output().size(); }
    void type(const std::string &keys) const { terminal_.type(keys); }
    void resize(unsigned short columns, unsigned short rows) const { terminal_.resize(columns, rows); }

    // The process whose program is this one; negative when there is none.
    pid_t member(const std::string &program) {
        pid_t found = -1;
        becomes_true([&] {
            for (const auto &[pid, words] : family(program_.pid())) {
                found = words.substr(0, words.find('\0')).ends_with("/" + program) ? pid : found;
            }
            return found > 0;
        });
        return found;
    }

    pid_t pid() const { return program_.pid(); }
    const std::string &output() { return output_ += terminal_.read(); }

    // Its status as the shell says it, or -1 when it goes on.
    int end() {
        if (!becomes_true([&] { return output(), program_.has_ended(); })) {
            return -1;
        }
        output();
        return program_.wait();
    }

    bool is_as_before() const { return terminal_.is_as_before(); }
    // Behind what shows the second page stands what leaves it.
    bool page_is_left() {
        const auto entered = output().rfind("\033[?1049h");
        return entered == std::string::npos || output_.find("\033[?1049l", entered) != std::string::npos;
    }

private:
    pseudo_terminal terminal_;
    other_process program_;
    std::string output_;
    std::size_t seen_ = 0;
};
