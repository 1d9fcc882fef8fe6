// What must hold after any input, for all fuzzers. A broken invariant prints itself and ends the process, which is what
// libFuzzer records.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "stats/cell_catalogue.h"
#include "stats/cell_stats_map.h"
#include "tests/fake_platform/fake_platform.h"

inline void require(bool holds, const std::string &invariant) {
    if (!holds) {
        std::fprintf(stderr, "broken invariant: %s\n", invariant.c_str());
        for (const std::string &line : fake::platform().journal) {
            std::fprintf(stderr, "  %s\n", line.c_str());
        }
        std::abort();
    }
}

// The input as a module's text: it ends at the first NUL.
inline std::string text_of_input(const std::uint8_t *data, std::size_t size) {
    const std::string bytes(reinterpret_cast<const char *>(data), size);
    return bytes.substr(0, bytes.find('\0'));
}

// Every session was closed and its lock given back before anything was decoded.
inline void require_free_port() {
    require(!fake::platform().files.contains("/tmp/zelt.cli"), "the lock file is gone");
    require(fake::journal_of({"ser_open"}).size() == fake::journal_of({"ser_close"}).size(), "the port is closed");
}

// The only exceptions are those of a column that is not hexadecimal.
inline void require_known_exceptions() {
    for (const std::string &line : fake::journal_of({"log"})) {
        require(!line.starts_with("log alert: exception ") || line.starts_with("log alert: exception stol in parse_") ||
                    line.starts_with("log alert: exception stoi in parse_"),
                "a known exception: " + line);
    }
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

// Publishes what the input left pending and looks at every key. A key that the input did not touch is not there.
inline void require_sound_statistics() {
    save_cell_stats_map_to_sysdb();
    for (const auto &entry : fake::platform().databases["CELL"]) {
        const std::string &key = entry.first;
        const auto *known = std::find_if(CELL_CATALOGUE.begin(), CELL_CATALOGUE.end(),
                                         [&key](const catalogue_row &each) { return key == each.name; });
        require(known != CELL_CATALOGUE.end(), "a key of the catalogue: " + key);
        const std::size_t type = known->kind == VALUE_INTEGER ? 0 : known->kind == VALUE_REAL ? 1 : 2;
        require(entry.second.index() == type, "the type of " + key);
        const std::string shown = fake::text_of(entry.second);
        require(!key.ends_with("SQI") || is_quality(shown), key + " is an index: " + shown);
        require(!key.starts_with("CELL_CHAN_BW") || is_bandwidth(shown), key + " is a bandwidth: " + shown);
    }
    const std::string name = fake::cell("CELL_NET_TYPE");
    const std::string number = fake::cell("CELL_NET_TYPE_INT");
    require((name.empty() && number.empty()) || is_network_type(name, number),
            "a network type: " + name + " " + number);
}
