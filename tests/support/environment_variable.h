// A variable of our environment, put back whatever the test's result.
#pragma once

#include <cstdlib>
#include <string>

class environment_variable {
public:
    environment_variable(const char *name, const std::string &value) : name_(name) {
        const char *old = std::getenv(name);
        was_set_ = old != nullptr;
        old_ = was_set_ ? old : "";
        setenv(name, value.c_str(), 1);
    }
    ~environment_variable() { was_set_ ? setenv(name_, old_.c_str(), 1) : unsetenv(name_); }
    environment_variable(const environment_variable &) = delete;
    environment_variable &operator=(const environment_variable &) = delete;

private:
    const char *name_;
    std::string old_;
    bool was_set_ = false;
};
