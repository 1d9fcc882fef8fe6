// The router's files in the box: its configuration, markers, and whatever a scenario writes. Silent. What returns a
// text says what went wrong, and nothing on success.
#pragma once

#include <optional>
#include <string>

// The daemon writes below both names of the folder, "/run" and "/var/run". Throws std::system_error.
void join_run_folders();

// Makes the configuration's folder. There is no configuration yet.
void prepare_config();
std::string write_config(const std::string &json);

std::string touch_file(const std::string &path);
std::string remove_file(const std::string &path);  // a folder with all that is in it
std::string make_directory(const std::string &path);
std::string write_file(const std::string &path, const std::string &bytes);  // makes its folder too

// The whole seconds since the machine was started, so many later.
std::string write_uptime(const std::string &path, long long offset_seconds);

// At most what sim/text_file reads; nothing when there is no ordinary file.
std::optional<std::string> file_content(const std::string &path);
