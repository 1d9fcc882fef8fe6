// The router's commands in the box: stand-ins in their places, beside the host's own programs. Silent.
#pragma once

#include <string>

#include "sim/stand_ins/stand_in.h"

// Throws std::system_error.
void make_router_programs();

// Puts one more in its place, or changes how it ends. What went wrong, empty on success.
std::string install_program(const std::string &path, const stand_in_ending &ending);
