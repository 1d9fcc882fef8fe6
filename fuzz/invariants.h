// What must hold after whatever the daemon was told, for all its fuzzers.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <initializer_list>
#include <string>
#include <string_view>

#include "fuzz/require.h"
#include "stats/cell_catalogue.h"
#include "tests/fake_platform/fake_platform.h"

inline void print_journal() {
    for (const std::string &line : fake::platform().journal) {
        std::fprintf(stderr, "  %s\n", line.c_str());
    }
}

inline bool is_port_locked() {
    return fake::platform().files.contains("/tmp/zelt.cli");
}

inline void require_all_closed() {
    require(fake::open_ports() == 0, "the port is closed");
    require(fake::open_sessions() == 0, "the database is closed");
}

// Those of a column that is not hexadecimal, and those that a fault made.
inline void require_known_exceptions(std::initializer_list<std::string_view> injected) {
    constexpr std::string_view BEGIN = "log alert: exception ";
    for (const std::string &line : fake::platform().journal) {
        if (!line.starts_with(BEGIN)) {
            continue;
        }
        const std::string_view text = std::string_view(line).substr(BEGIN.size());
        require(text.starts_with("stol in parse_") || text.starts_with("stoi in parse_") ||
                    std::ranges::any_of(injected, [text](std::string_view each) { return text.starts_with(each); }),
                "a known exception: ", line);
    }
}

inline bool was_logged(std::string_view beginning) {
    return std::ranges::any_of(fake::platform().journal,
                               [beginning](const std::string &line) { return line.starts_with(beginning); });
}

inline bool is_bandwidth(const std::string &shown) {
    static const std::array<std::string, 7> TEXTS{"string 1.4", "string 3",  "string 5",   "string 10",
                                                  "string 15",  "string 20", "string -999"};
    return std::find(TEXTS.begin(), TEXTS.end(), shown) != TEXTS.end();
}

// An index, or -999 where the value was withdrawn.
inline bool is_quality(const std::string &shown) {
    const long index = std::strtol(shown.c_str() + shown.find(' ') + 1, nullptr, 10);
    return shown.starts_with("int ") && ((0 <= index && index <= 100) || index == -999);
}

inline bool is_network_type(const std::string &name, const std::string &number) {
    static const std::array<std::array<std::string, 2>, 6> PAIRS{{{"string GSM", "int 5"},
                                                                  {"string CAT-M", "int 10"},
                                                                  {"string WCDMA", "int 15"},
                                                                  {"string LTE", "int 20"},
                                                                  {"string 5G NSA", "int 25"},
                                                                  {"string 5G SA", "int 30"}}};
    return std::find(PAIRS.begin(), PAIRS.end(), std::array{name, number}) != PAIRS.end();
}

// Every key that was published. One that the input did not touch is not there.
inline void require_sound_keys() {
    for (const auto &[key, stored] : fake::platform().databases["CELL"]) {
        const auto *known = std::ranges::find(CELL_CATALOGUE, std::string_view(key), &catalogue_row::name);
        require(known != CELL_CATALOGUE.end(), "a key of the catalogue: ", key);
        const std::size_t type = known->kind == VALUE_INTEGER ? 0 : known->kind == VALUE_REAL ? 1 : 2;
        require(stored.index() == type, "the type of ", key);
        if (key.ends_with("SQI")) {
            require(is_quality(fake::text_of(stored)), key, " is an index: ", fake::text_of(stored));
        }
        if (key.starts_with("CELL_CHAN_BW")) {
            require(is_bandwidth(fake::text_of(stored)), key, " is a bandwidth: ", fake::text_of(stored));
        }
    }
}

// A name and a number that belong together. A fault may come between the two.
inline void require_known_network_type() {
    const std::string name = fake::cell("CELL_NET_TYPE");
    const std::string number = fake::cell("CELL_NET_TYPE_INT");
    require((name.empty() && number.empty()) || is_network_type(name, number), "a network type: ", name, " ", number);
}
