// What is known of the radio and of the link, as a model for people: which values belong to the technology of the
// moment, what a missing one means, and how current all of it is. Pure; knows no database, file or terminal.
#pragma once

#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "view/lookup.h"
#include "view/observation.h"
#include "view/technology.h"

namespace view {

struct fact : fact_key {
    std::variant<number, phrase> value;

    bool known() const {
        return std::visit([](const auto &stored) { return stored.known(); }, value);
    }
};

struct signal_value : signal_key {
    number value;
};

struct leg {
    const char *name;         // for programs
    const char *heading;      // for people
    std::vector<fact> facts;  // those that differ between the legs
    std::vector<signal_value> signals;
};

// One carrier of an aggregation.
struct carrier {
    std::string name;
    std::vector<fact> facts;            // band, channel, bandwidth
    std::vector<signal_value> signals;  // RSRP, RSRQ, SINR, RSSI
};

// The first one that holds.
enum class condition {
    no_database,
    daemon_absent,
    paused,
    module_gone,
    port_held,
    hung_up,
    no_port,
    no_answer,
    stale,
    not_registered,
    well,
};

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
    bool link_watched = true;
    phrase address;  // while the link is up
    ages age;
    std::optional<double> updated;  // seconds since the module's last answer; where nobody records it, the last commit
    phrase summary;
    snapshot other;  // keys that are not known, or of a type that is not theirs
    std::vector<std::string> foreign_keys;

    // Whether the values tell of now; otherwise they are the last ones that were known.
    bool current() const { return state == condition::well; }
};

picture build_picture(const reading &database, const runtime_state &around, const ages &age);

}  // namespace view
