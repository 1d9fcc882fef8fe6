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

// How a value that was worked out relates to the real one.
enum class bound { none, at_most, at_least };

struct signal_value : signal_key {
    number value;
    bool derived = false;  // worked out from the quality index
    bound limit = bound::none;
};

struct leg {
    const char *name;         // for programs
    const char *heading;      // for people
    std::vector<fact> facts;  // those that differ between the legs
    std::vector<signal_value> signals;

    const signal_value *find(quantity what) const;  // null: this leg has none
};

// One carrier of an aggregation.
struct carrier {
    std::string name;
    std::vector<fact> facts;            // band, channel, bandwidth
    std::vector<signal_value> signals;  // RSRP, RSRQ, SINR, RSSI
};

// The station behind an LTE cell and which of its cells it is, as the cell's identity says.
struct station {
    int enodeb;
    int sector;
};

// Whom the SIM card belongs to: for those only who ask for it.
struct subscriber {
    phrase imsi;
    phrase directory_number;
    phrase iccid;
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
    phrase model;
    phrase carrier_name;
    phrase mcc;
    phrase mnc;
    std::vector<fact> cell;
    std::optional<station> lte_station;  // NR splits its identities as each operator likes, and nobody publishes one
    std::vector<fact> radio;
    std::vector<leg> legs;
    std::vector<carrier> carriers;  // the primary and the secondary ones; empty without aggregation
    maybe<bool> registered;
    maybe<bool> roaming;
    maybe<bool> link_up;
    bool link_watched = true;
    phrase address;  // this and the next three while the link is up
    phrase gateway;
    phrase primary_dns;
    phrase secondary_dns;
    std::optional<subscriber> owner;  // nothing: not asked for
    ages age;
    std::optional<double> updated;  // seconds since the module's last answer; where nobody records it, the last commit
    phrase summary;
    snapshot other;  // keys that are not known, or of a type that is not theirs
    std::vector<std::string> foreign_keys;

    // Whether the values tell of now; otherwise they are the last ones that were known.
    bool current() const { return state == condition::well; }
};

// Without the subscriber, also among the keys of a foreign type and in the summary line.
picture build_picture(const reading &database, const runtime_state &around, const ages &age);

subscriber find_subscriber(const reading &database);

}  // namespace view
