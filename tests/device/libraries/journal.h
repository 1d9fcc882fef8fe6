// What the stand-ins for the device's libraries tell: a line a call on standard output. Each library holds a copy.
#pragma once

#include <cstdarg>
#include <cstdio>

[[gnu::format(printf, 1, 2)]] static inline void tell(const char *format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    std::vprintf(format, arguments);
    va_end(arguments);
    std::puts("");
    std::fflush(stdout);
}
