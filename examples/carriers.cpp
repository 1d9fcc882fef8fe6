// Prints the carriers of an LTE aggregation as of one commit: c++ -std=c++17 carriers.cpp $(pkg-config --cflags --libs
// zelt-sysdb)
#include <iostream>
#include <optional>
#include <string>

#include <zelt/sysdb.h>

namespace {

class snapshot {
public:
    explicit snapshot(zelt_reader &reader) : reader_(reader), result_(zelt_snapshot_begin(&reader)) {}
    ~snapshot() { zelt_snapshot_end(&reader_); }
    snapshot(const snapshot &) = delete;
    snapshot &operator=(const snapshot &) = delete;

    int result() const { return result_; }

    std::optional<int> integer(const std::string &key) const {
        int number = 0;
        const bool known = zelt_get_int(&reader_, key.c_str(), &number) == 0 && number != ZELT_NOT_REPORTED;
        return known ? std::optional(number) : std::nullopt;
    }

private:
    zelt_reader &reader_;
    int result_;
};

std::string text(const std::optional<int> &number) {
    return number ? std::to_string(*number) : "-";
}

}  // namespace

int main() {
    zelt_reader reader;
    if (zelt_reader_init(&reader, nullptr, "CELL") != 0) {
        return 1;
    }
    int result = 0;
    {
        const snapshot now(reader);
        result = now.result();
        if (result == 0) {
            std::cout << "primary band " << text(now.integer("CELL_BAND")) << " RSRP " << text(now.integer("CELL_RSRP"))
                      << '\n';
        }
        for (int n = 1; result == 0 && n <= 6; ++n) {
            const std::string number = std::to_string(n);
            if (const auto band = now.integer("CELL_BAND_SCC_" + number)) {
                std::cout << "secondary " << n << " band " << *band << " RSRP "
                          << text(now.integer("CELL_RSRP_SCC_" + number)) << '\n';
            }
        }
    }
    if (result != 0) {
        std::cerr << "no values: " << zelt_strerror(result) << '\n';
    }
    zelt_reader_close(&reader);
    return result == 0 ? 0 : 1;
}
