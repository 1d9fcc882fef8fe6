#include "view/json.h"

#include <array>
#include <cmath>
#include <cstdio>
#include <cstdlib>

#include <json/json.h>

#include "posix/clock.h"
#include "view/characters.h"
#include "view/words.h"

namespace view {

namespace {

// Of docs/zelt-top.schema.json. A member that is new keeps it; one that goes or means something else raises it.
constexpr int SCHEMA = 1;

Json::Value json(double number) {
    // JSON knows no infinity; whole numbers are written as such.
    if (!std::isfinite(number)) {
        return Json::nullValue;
    }
    constexpr double exact = 9e15;  // the largest range in which every whole double is a whole number for everybody
    if (number == std::floor(number) && std::abs(number) < exact) {
        return static_cast<Json::Int64>(number);
    }
    return number;
}

Json::Value json(bool flag) {
    return flag;
}

Json::Value json(const std::string &text) {
    return text;
}

template <typename T>
Json::Value json(const maybe<T> &stored) {
    return stored.told() ? json(stored.value) : Json::Value();
}

Json::Value json(const std::optional<double> &seconds) {
    return seconds ? json(std::floor(*seconds)) : Json::Value();
}

Json::Value json_as_stored(const any_value &stored) {
    if (const auto *text = std::get_if<std::string>(&stored)) {
        return harmless(*text);
    }
    const auto *integer = std::get_if<int>(&stored);
    return integer != nullptr ? Json::Value(*integer) : json(std::get<double>(stored));
}

Json::Value json(bound limit) {
    return limit == bound::none ? Json::Value() : limit == bound::at_most ? "at most" : "at least";
}

// A quantity that is stored as a text is a number all the same.
Json::Value json(const fact &one) {
    const auto *text = std::get_if<phrase>(&one.value);
    if (text == nullptr || *one.unit == '\0') {
        return std::visit([](const auto &stored) { return json(stored); }, one.value);
    }
    char *end = nullptr;
    const double parsed = std::strtod(text->value.c_str(), &end);
    return text->known() && *end == '\0' ? json(parsed) : Json::Value();
}

void put_facts(Json::Value &object, const std::vector<fact> &facts) {
    for (const fact &one : facts) {
        object[one.name] = json(one);
        if (one.plan != band_plan::none) {
            const band *place = find_band(one.plan, std::get<number>(one.value).value);
            object["band_mhz"] = place != nullptr ? Json::Value(place->megahertz) : Json::Value();
            object["band_duplex"] = place != nullptr ? Json::Value(word(place->shared)) : Json::Value();
        }
    }
}

Json::Value json(const signal_value &one) {
    Json::Value object;
    object["value"] = json(one.value);
    object["unit"] = scale_of(one.what).unit;
    object["rating"] = rating_word(one);
    if (one.derived) {
        object["derived_from"] = scale_of(quantity::sqi).name;
        object["bound"] = json(one.limit);
    }
    return object;
}

Json::Value json(const leg &one) {
    Json::Value object;
    object["name"] = one.name;
    put_facts(object, one.facts);
    Json::Value &signals = object["signals"] = Json::objectValue;
    for (const signal_value &each : one.signals) {
        signals[scale_of(each.what).name] = json(each);
    }
    return object;
}

Json::Value json(const carrier &one) {
    Json::Value object;
    object["name"] = one.name;
    put_facts(object, one.facts);
    for (const signal_value &each : one.signals) {
        object[scale_of(each.what).name] = json(each.value);
    }
    return object;
}

Json::Value json_cell(const picture &known) {
    Json::Value cell;
    cell["mcc"] = json(known.mcc);
    cell["mnc"] = json(known.mnc);
    put_facts(cell, known.cell);
    if (const Json::Value id = cell.get("id", Json::Value()); id.isInt64() && id.asInt64() >= 0) {
        std::array<char, 24> hexadecimal{};
        std::snprintf(hexadecimal.data(), hexadecimal.size(), "%llX", static_cast<unsigned long long>(id.asInt64()));
        cell["id_hex"] = hexadecimal.data();
    }
    if (known.lte_station) {
        cell["enodeb"] = known.lte_station->enodeb;
        cell["sector"] = known.lte_station->sector;
    }
    return cell;
}

Json::Value json_other(const picture &known) {
    Json::Value other = Json::objectValue;
    for (const auto &[key, stored] : known.other) {
        other[harmless(key)] = is_not_reported(stored) ? Json::Value() : json_as_stored(stored);
    }
    for (const std::string &key : known.foreign_keys) {
        other[harmless(key)] = Json::nullValue;
    }
    return other;
}

}  // namespace

std::string to_json(const picture &known, const reading &database) {
    Json::Value object;
    object["schema"] = SCHEMA;
    object["time"] = utc_text(database.taken_at);
    object["database"] = harmless(database.folder);
    object["state"] = name_of(known.state);
    object["sentence"] = known.sentence;
    object["technology"] = known.technology.empty() ? Json::Value() : Json::Value(known.technology);
    object["model"] = json(known.model);
    object["operator"] = json(known.carrier_name);
    object["registered"] = json(known.registered);
    object["roaming"] = json(known.roaming);
    object["cell"] = json_cell(known);
    put_facts(object["radio"] = Json::objectValue, known.radio);
    object["legs"] = Json::arrayValue;
    for (const leg &one : known.legs) {
        object["legs"].append(json(one));
    }
    object["carriers"] = Json::arrayValue;
    for (const carrier &one : known.carriers) {
        object["carriers"].append(json(one));
    }
    object["link"]["up"] = json(known.link_up);
    object["link"]["ipv4"] = json(known.address);
    object["link"]["gateway"] = json(known.gateway);
    object["link"]["primary_dns"] = json(known.primary_dns);
    object["link"]["secondary_dns"] = json(known.secondary_dns);
    object["link"]["seconds_since_change"] = json(known.age.link);
    object["seconds_since_update"] = json(known.updated);
    object["seconds_since_change"] = json(known.age.changed);
    object["summary"] = json(known.summary);
    if (known.owner) {
        object["subscriber"]["imsi"] = json(known.owner->imsi);
        object["subscriber"]["directory_number"] = json(known.owner->directory_number);
        object["subscriber"]["iccid"] = json(known.owner->iccid);
    }
    object["other"] = json_other(known);

    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";  // one line
    builder["precision"] = 6;     // 12.4 and not 12.4000000000000004
    return Json::writeString(builder, object);
}

}  // namespace view
