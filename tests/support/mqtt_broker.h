// A real MQTT broker, and what else listens on loopback.
#pragma once

#include <cerrno>
#include <cstring>
#include <string>

#include <arpa/inet.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include "tests/support/becomes_true.h"
#include "tests/support/other_process.h"
#include "tests/support/temporary_folder.h"

inline sockaddr_in loopback(int port) {
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<in_port_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

// A socket that listens, on a port of the kernel's choice when `port` is 0. The caller closes it.
inline int listen_on(int port, int backlog) {
    const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const int yes = 1;
    setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
    const sockaddr_in address = loopback(port);
    EXPECT_EQ(bind(fd, reinterpret_cast<const sockaddr *>(&address), sizeof address), 0) << strerror(errno);
    EXPECT_EQ(listen(fd, backlog), 0);
    return fd;
}

inline int port_of(int fd) {
    sockaddr_in address = {};
    socklen_t size = sizeof address;
    getsockname(fd, reinterpret_cast<sockaddr *>(&address), &size);
    return ntohs(address.sin_port);
}

inline int free_port() {
    const int fd = listen_on(0, 1);
    const int port = port_of(fd);
    close(fd);
    return port;
}

inline bool somebody_listens_on(int port) {
    const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const sockaddr_in address = loopback(port);
    const bool connected = connect(fd, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0;
    close(fd);
    return connected;
}

// Ready when constructed.
class real_broker {
public:
    explicit real_broker(int port)
        : configuration_(folder_.write("broker.conf", "listener " + std::to_string(port) + " 127.0.0.1\n" +
                                                          "allow_anonymous true\npersistence false\n")),
          process_([this] { return run(); }) {
        EXPECT_TRUE(becomes_true([port] { return somebody_listens_on(port); }))
            << "the broker did not start; install the package mosquitto";
    }

private:
    int run() const {
        dup2(open("/dev/null", O_WRONLY | O_CLOEXEC), STDERR_FILENO);
        become({"mosquitto", "-c", configuration_});
        // Debian keeps it where the PATH of an ordinary user does not look.
        return become({"/usr/sbin/mosquitto", "-c", configuration_});
    }

    temporary_folder folder_;
    std::string configuration_;
    other_process process_;
};
