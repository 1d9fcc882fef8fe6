// A folder of the test's own, taken away again whatever the test's result, and what files hold.
#pragma once

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>

#include <sys/stat.h>
#include <unistd.h>

class temporary_folder {
public:
    temporary_folder() {
        std::string pattern = "/tmp/zelt-test-XXXXXX";
        path_ = mkdtemp(pattern.data());
    }
    ~temporary_folder() { [[maybe_unused]] const int status = std::system(("rm -rf '" + path_ + "'").c_str()); }
    temporary_folder(const temporary_folder &) = delete;
    temporary_folder &operator=(const temporary_folder &) = delete;

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

inline std::string content_of(const std::string &path) {
    std::ostringstream text;
    text << std::ifstream(path, std::ios::binary).rdbuf();
    return text.str();
}
