// Whether the AT port is ours alone. Two readers of one terminal share out the bytes of an answer between them: each
// reads what the module never said, a cell identity of 6704 where it was 27460098. TIOCEXCL keeps neither root away nor
// a program that had the port open before. So there are two more ways to know:
//
//   a watch  The kernel tells of every open and close of the device node. It costs next to nothing, and is there for
//            every exchange.
//   a look   Who has the device open, through "/proc". It costs milliseconds. So: for a device that is new, when the
//            watch told of an open, after an exchange that surprised, and from time to time.
//
// The trap: the kernel makes one notice of equal ones that follow each other. Another's open in the microseconds of our
// own is missed, and found by the next look.
//
// For one port at a time, and one thread. Never logs; blocks as long as a look takes.
#pragma once

#include <string>
#include <vector>

#include "posix/device_holders.h"

// To be called before each open: the other programs that have the port open. With process 0 when they cannot be seen.
std::vector<device_holder> users_of_port(const std::string &device);

// To be called right behind the open: every further one is another program's.
void port_is_open();

// Whether another program opened the port since we did.
bool port_was_shared();

// For poll(): readable (POLLIN) once it did. -1 when there is no watch.
int port_watch_descriptor();

// After an exchange that surprised: the next open begins with a look.
void doubt_port();

// Who it was, as far as it is still there: a look.
std::vector<device_holder> look_for_users_of_port();
