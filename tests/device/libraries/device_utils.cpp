#include "platform/device_utils.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>

#include <fcntl.h>
#include <unistd.h>

#include "tests/device/libraries/journal.h"

int create_pidfile(const char *path) {
    tell("pid file %s", path);
    return 0;
}

int create_empty_file(const char *path) {
    const int fd = open(path, O_WRONLY | O_CREAT | O_CLOEXEC, 0644);
    return fd < 0 ? -1 : close(fd);
}

int delete_file(const char *path) {
    return unlink(path);
}

bool file_exists(const char *path) {
    return access(path, F_OK) == 0;
}

int write_str_to_file(const char *, const char *) {
    return 0;
}

// One delimiter ends a field, two an empty one.
char *strtok_consecutive_r(char *text, const char *delimiters, char **state) {
    char *const field = text != nullptr ? text : *state;
    if (field != nullptr) {
        char *const end = field + std::strcspn(field, delimiters);
        *state = *end != '\0' ? end + 1 : nullptr;
        *end = '\0';
    }
    return field;
}

void strip_not_in_range_list(char *text, const char *ranges, unsigned int) {
    char *kept = text;
    for (; *text != '\0'; ++text) {
        if (*text >= ranges[0] && *text <= ranges[1]) {
            *kept++ = *text;
        }
    }
    *kept = '\0';
}

int netmask_to_cidr(const char *) {
    return 0;
}

void calculate_bcast_from_ipv4_and_mask(const char *, const char *, char *broadcast) {
    *broadcast = '\0';
}

int check_interface_ip(const char *, char *) {
    return -1;
}

int ip_link_set_interface_down(const char *interface_name) {
    tell("down %s", interface_name);
    return 0;
}

int ip_link_set_interface_up(const char *interface_name) {
    tell("up %s", interface_name);
    return 0;
}

int brelsys(const char *format, ...) {
    char line[512];
    std::va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(line, sizeof line, format, arguments);
    va_end(arguments);
    tell("run %s", line);
    return 0;
}

std::uint32_t fwtime_s(int) {
    return 1000;
}
