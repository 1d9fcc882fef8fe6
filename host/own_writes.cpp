#include "host/own_writes.h"

#include <utility>

void own_writes::commit(const std::string &named_database) {
    for (own_write &write : pending_) {
        if (write.value) {
            committed_[named_database][write.key] = *std::move(write.value);
        } else {
            committed_[named_database].erase(write.key);
        }
    }
    pending_.clear();
}
