// A C++ program with the daemon's libraries that does nothing: the least that the daemon's memory can be.
#include <iostream>

#include <unistd.h>

int main() {
    std::cout << "ready" << std::endl;
    pause();
}
