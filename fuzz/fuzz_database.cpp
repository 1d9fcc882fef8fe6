// The files of the database: nothing in them ends a program, and what the check lets through can be read and written.
// An input says which database it begins with, and what happens to its bytes. Pieces of 12 bytes each: what, which
// page, where in it (2), and a number (8).
#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include <unistd.h>

#include "store/reader.h"
#include "store/salvage.h"
#include "tests/store/damage.h"
#include "tests/store/whole_use.h"

namespace {

void require(bool condition, const char *what, int result) {
    if (!condition) {
        std::fprintf(stderr, "not so: %s (%d)\n", what, result);
        std::abort();
    }
}

struct change {
    std::uint8_t what;
    std::uint8_t page;
    std::uint16_t at;
    std::uint64_t number;
};
constexpr std::size_t CHANGE_BYTES = 12;

change change_at(const std::uint8_t *data) {
    change c = {data[0], data[1], 0, 0};
    std::memcpy(&c.at, data + 2, sizeof c.at);
    std::memcpy(&c.number, data + 4, sizeof c.number);
    return c;
}

void overwrite(std::string &bytes, std::size_t at, const std::string &with) {
    damage::overwrite(bytes, at, with.data(), with.size());
}

void make_change(const change &c, std::string &bytes) {
    const std::size_t page = c.page * damage::PAGE;
    const std::size_t at = page + c.at % damage::PAGE;
    const std::size_t other = c.number % 256 * damage::PAGE;
    const std::string copy = other < bytes.size() ? bytes.substr(other, damage::PAGE) : "";
    switch (c.what % 8) {
    case 4:
        overwrite(bytes, page, std::string(c.at, static_cast<char>(c.number)));
        break;
    case 5:
    case 6:
        overwrite(bytes, page, copy);
        break;
    case 7:
        bytes.resize(std::min(bytes.size(), at));
        break;
    default:
        damage::overwrite(bytes, at, &c.number, std::size_t{1} << c.what % 4U);
    }
}

struct workshop {
    temporary_folder folder;
    std::array<std::string, 2> samples = {damage::bytes_of(damage::write_daemons),
                                          damage::bytes_of(damage::write_everybodys)};
};

void write_and_check(const std::string &folder, const char *database, const whole_use::writes &what) {
    const whole_use::outcome all = whole_use::write_checked(folder, database, what);
    require(can_be_written(all), "what the check lets through can be written", all.of_use);
    require(all.of_check_behind == 0, "writing leaves it sound", all.of_check_behind);
}

// Who must not open the file any more still gets out of it what can be read, and never more than it holds: once for
// each of its two commits.
void salvage(const std::string &file, std::size_t file_bytes) {
    std::size_t bytes = 0;
    for (const auto &[name, values] : salvage_database(file)) {
        for (const auto &[key, value] : values) {
            bytes += key.size() + value.size();
        }
    }
    require(bytes <= 2 * file_bytes, "nothing is found twice", static_cast<int>(bytes));
}

// As the tools do: values, nothing there, or a result that has a sentence.
void follow(const std::string &folder) {
    sysdb_reader reader(folder, "CELL", "PLATFORM");
    sysdb_values values;
    std::vector<std::string> foreign_keys;
    const int result = reader.list(&values, &foreign_keys);
    require(result != SYSDB_FAULT, "the check is before the reading", result);
    require(result == 0 || values.empty(), "all or nothing", result);
    reader.has_changed();
    reader.wait();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    static const workshop shop;
    if (size == 0) {
        return 0;
    }
    std::string bytes = shop.samples.at(data[0] % 2);
    for (std::size_t at = 1; at + CHANGE_BYTES <= size; at += CHANGE_BYTES) {
        make_change(change_at(data + at), bytes);
    }
    shop.folder.write("data.mdb", bytes);
    unlink(shop.folder.path("lock.mdb").c_str());

    salvage(shop.folder.path("data.mdb"), bytes.size());
    follow(shop.folder.path());
    whole_use::pairs found;
    const whole_use::outcome all = whole_use::read_checked(shop.folder.path(), &found);
    require(all.of_use == 0, "what the check lets through can be read", all.of_use);
    require(size > CHANGE_BYTES || all.of_check == 0, "nothing changed, nothing found", all.of_check);
    write_and_check(shop.folder.path(), "CELL",
                    {{"CELL_KEY_1", "snew"}, {"CELL_KEY_2", ""}, {"N", std::string(9000, 'n')}});
    write_and_check(shop.folder.path(), "LOG", {{"LOG_ENTRY_0", ""}, {"LOG_ENTRY_5", ""}, {"Z", "sz"}});
    return 0;
}
