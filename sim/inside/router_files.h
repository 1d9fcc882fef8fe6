// What the daemon finds around it in the box besides the module: folders, network, files. Runs inside the box. Silent.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <variant>

#include "sim/scenario/scenario.h"

inline constexpr const char *BOX_CONFIG_FILE = "/run/zelt/config.json";

// Makes them, and tells the programs of the box where they are. Throws std::system_error.
void prepare_surroundings();

// Each returns what went wrong, empty on success.
std::string apply(const write_config &what);
std::string apply(const touch_file &what);
std::string apply(const remove_file &what);
std::string apply(const make_directory &what);
std::string apply(const write_file &what);
std::string apply(const write_uptime &what);
std::string apply(const set_address &what);

// Whether an interface is up, as its owner set it; nothing when there is none.
std::optional<bool> is_interface_up(const std::string &name);
