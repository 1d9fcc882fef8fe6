// Fills the system database with keys of another program: fill NUMBER.
#include <cstdint>
#include <cstdlib>
#include <exception>
#include <string>

#include "store/environment.h"
#include "store/transaction.h"

int main(int argc, char **argv) try {
    const long number = argc > 1 ? std::strtol(argv[1], nullptr, 10) : 0;
    sysdb_environment environment;
    sysdb_transaction transaction;
    int result = environment.open(sysdb_folder(), sysdb_access::create);
    result = result != 0 ? result : transaction.begin(environment, "CELL", sysdb_access::create);
    for (std::int32_t i = 0; i < number && result == 0; ++i) {
        result = transaction.put(("OTHER_" + std::to_string(i)).c_str(), i);
    }
    return result == 0 && transaction.commit() == 0 ? 0 : 1;
} catch (const std::exception &) {
    return 1;
}
