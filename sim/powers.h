// What the box's root may do. Never logs.
#pragma once

// From now on this process, and every program that it starts, is a root whose one power is to configure its own
// network. It cannot mount, so what is read-only stays so, and no program gains powers as it starts. Throws
// std::system_error.
void give_up_powers();
