// What is known of the radio and of the link, as a model for people: which values belong to the technology of the
// moment, what a missing one means, and how current all of it is. Pure: knows the keys, no database, file or terminal.
#pragma once

#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "view/observation.h"
#include "view/quantity.h"

namespace zelt_top {

// unknown: the key is not there (or has a foreign type). not_reported: the daemon says that the module did not tell.
enum class presence { unknown, not_reported, known };

template <typename T>
struct maybe {
    presence state = presence::unknown;
    T value{};

    bool known() const { return state == presence::known; }
};
using number = maybe<double>;
using phrase = maybe<std::string>;

struct fact {
    const char *name;   // for programs
    const char *label;  // for people
    std::variant<number, phrase> value;
    const char *unit = "";
};

struct signal_value {
    quantity what;
    number value;
};

// One radio connection: alone, or the LTE anchor and the NR leg of a non-standalone 5G connection.
struct leg {
    const char *name;         // for programs
    const char *heading;      // for people
    std::vector<fact> facts;  // those that differ between the legs
    std::vector<signal_value> signals;
};

struct carrier {
    std::string name;
    number band;
    number channel;
    phrase bandwidth;  // MHz
    number rsrp;
    number rsrq;
    number rssi;
    number sinr;
};

// The first one that holds.
enum class condition { no_database, daemon_absent, paused, module_gone, stale, not_registered, well };

const char *name_of(condition state);

struct picture {
    condition state = condition::well;
    std::string sentence;  // says the state, and what to do or to expect
    std::string technology;
    phrase carrier_name;
    phrase mcc;
    phrase mnc;
    std::vector<fact> cell;
    std::vector<fact> radio;
    std::vector<leg> legs;
    std::vector<carrier> carriers;  // the primary and the secondary ones; empty without aggregation
    maybe<bool> registered;
    maybe<bool> roaming;
    maybe<bool> link_up;
    phrase address;
    ages age;
    phrase summary;
    snapshot other;  // keys that this view does not know, or of a type that it does not expect
    std::vector<std::string> foreign_keys;

    // Whether the values tell of now; otherwise they are the last ones that were known.
    bool current() const { return state == condition::well; }
};

picture build_picture(const reading &database, const runtime_state &around, const ages &age);

}  // namespace zelt_top
