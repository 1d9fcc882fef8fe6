// The module's port: a pseudo-terminal behind a name in "/dev", which can disappear and come back. Silent; never waits.
#pragma once

#include <string>
#include <string_view>

#include "posix/descriptor.h"

class module_port {
public:
    explicit module_port(std::string name) : name_(std::move(name)) {}
    ~module_port() { unplug(); }
    module_port(const module_port &) = delete;
    module_port &operator=(const module_port &) = delete;

    // Throws std::system_error. Does nothing while the port is there.
    void plug();

    // Removes the name and hangs up on whoever has the port open.
    void unplug();

    int descriptor() const { return module_side_.get(); }  // negative while unplugged
    bool wants_to_write() const { return !outgoing_.empty(); }

    // Readable when a user of the port has closed it; then forget_user() is due. A real port forgets with its last user
    // that it was to have no other one, by TIOCEXCL. This one stays open, and would keep everybody out.
    int closes_descriptor() const { return closes_.get(); }
    void forget_user() const;

    // What was written to the port since the last call.
    std::string read();

    // Queues bytes for the reader of the port, and sends what it takes. A port that is gone takes nothing, nor
    // does one that nobody has read from for a very long time.
    void write(std::string_view bytes);
    void flush();

private:
    std::string name_;
    ::descriptor module_side_;
    // Kept open by the box: without any user the module's side would report an error instead of waiting.
    ::descriptor router_side_;
    ::descriptor closes_;
    std::string outgoing_;
};
