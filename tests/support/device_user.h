// A program of another's that has a device open.
#pragma once

#include <string>

#include "tests/support/becomes_true.h"
#include "tests/support/other_process.h"
#include "tests/support/temporary_folder.h"

class device_user {
public:
    // The program gets the device as its standard input. It has it open when this returns.
    explicit device_user(const std::string &device, const std::string &program = "sleep",
                         const std::string &argument = "600")
        : process_([&] {
              return become({"/bin/sh", "-c", "exec \"$1\" \"$2\" <\"$0\" >/dev/null", device, program, argument});
          }) {
        const std::string name = "/proc/" + std::to_string(pid()) + "/comm";
        EXPECT_TRUE(becomes_true([&] { return content_of(name) == program + "\n"; }));
    }
    pid_t pid() const { return process_.pid(); }
    void end() { process_.kill(); }

private:
    other_process process_;
};
