#include "host/say_once.h"

#include <cstdio>
#include <set>

void say_once(const std::string &message) {
    static std::set<std::string> said;
    if (said.insert(message).second) {
        std::fprintf(stderr, "%s\n", message.c_str());
    }
}
