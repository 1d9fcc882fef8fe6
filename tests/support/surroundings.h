// What the tests put around the code under test, and take away again whatever the test's result.
#pragma once

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>

#include <sched.h>
#include <sys/stat.h>
#include <unistd.h>

// A folder of its own, removed with everything in it.
class temporary_folder {
public:
    temporary_folder() {
        std::string pattern = "/tmp/zelt-test-XXXXXX";
        path_ = mkdtemp(pattern.data());
    }
    ~temporary_folder() { remove(); }
    temporary_folder(const temporary_folder &) = delete;
    temporary_folder &operator=(const temporary_folder &) = delete;

    // For a child that ends without destructors.
    void remove() const { [[maybe_unused]] const int status = std::system(("rm -rf '" + path_ + "'").c_str()); }

    std::string path(const std::string &name = "") const { return name.empty() ? path_ : path_ + "/" + name; }

    std::string write(const std::string &name, const std::string &content) const {
        std::ofstream(path(name), std::ios::binary) << content;
        return path(name);
    }

    std::string write_program(const std::string &name, const std::string &shell_script) const {
        std::string file = write(name, "#!/bin/sh\n" + shell_script + "\n");
        chmod(file.c_str(), 0755);
        return file;
    }

private:
    std::string path_;
};

class environment_variable {
public:
    environment_variable(const char *name, const std::string &value) : name_(name) {
        const char *old = std::getenv(name);
        was_set_ = old != nullptr;
        old_ = was_set_ ? old : "";
        setenv(name, value.c_str(), 1);
    }
    ~environment_variable() { was_set_ ? setenv(name_, old_.c_str(), 1) : unsetenv(name_); }
    environment_variable(const environment_variable &) = delete;
    environment_variable &operator=(const environment_variable &) = delete;

private:
    const char *name_;
    std::string old_;
    bool was_set_ = false;
};

// unshare(2) for somebody who needs not be root: otherwise inside a user namespace in which we are.
inline bool unshare_as_root(int what) {
    const uid_t user = geteuid();
    const gid_t group = getegid();
    if (unshare(what) == 0) {
        return true;
    }
    if (unshare(CLONE_NEWUSER | what) != 0) {
        return false;
    }
    std::ofstream("/proc/self/uid_map") << "0 " << user << " 1";
    std::ofstream("/proc/self/setgroups") << "deny";  // the kernel's condition for the next line
    std::ofstream("/proc/self/gid_map") << "0 " << group << " 1";
    return true;
}

inline std::string content_of(const std::string &path) {
    std::ostringstream text;
    text << std::ifstream(path, std::ios::binary).rdbuf();
    return text.str();
}
