// The network interfaces of the box: "wwan0", "eth0" and "eth1", without a world behind them. Silent; waits for the
// helper programs that make them.
#pragma once

#include <optional>
#include <string>

// Throws std::system_error.
void make_interfaces();

// "wwan0" gets this address ("10.1.2.3/30") in place of any other; empty: it loses all. What went wrong, empty on
// success.
std::string set_address(const std::string &address);

// Whether an interface is up, as its owner set it; nothing when there is none.
std::optional<bool> is_interface_up(const std::string &name);
