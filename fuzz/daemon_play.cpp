#include "fuzz/daemon_play.h"

#include "fuzz/faults.h"

namespace {

// FNV-1a: small changes of the input choose another fault.
std::uint32_t number_of(fuzz_input input) {
    std::uint32_t number = 2166136261U;
    for (const std::uint8_t byte : input) {
        number = static_cast<std::uint32_t>((number ^ byte) * std::uint64_t{16777619});
    }
    return number;
}

void begin(fuzz_input input, const daemon_play &how) {
    fake::reset();
    how.prepare(input);
}

// Who cannot remove the lock file leaves it.
void require_survived_fault(const std::string &failed_call) {
    require(failed_call == "delete_file" || !is_port_locked(), "the lock file is gone");
    require_all_closed();
    require_known_exceptions({"std::bad_alloc", faults::THROWN});
}

}  // namespace

void play(fuzz_input input, const daemon_play &how) {
    print_circumstances = print_journal;
    begin(input, how);
    const faults::opportunities could_fail = faults::count(how.run);
    require(!is_port_locked(), "the lock file is gone");
    require_all_closed();
    require_known_exceptions({});
    how.check_always();
    const auto databases = fake::platform().databases;
    const auto files = fake::platform().files;
    how.check(input);

    const std::uint32_t number = number_of(input);
    if (number % 4 != 0) {
        return;
    }
    begin(input, how);
    require_survived_fault(faults::inject(faults::choose(number / 4, could_fail), how.run));
    how.check_always();
    begin(input, how);
    how.run();
    require(databases == fake::platform().databases, "a fault leaves no trace in the database");
    require(files == fake::platform().files, "a fault leaves no trace in the files");
}
