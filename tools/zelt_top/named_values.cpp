#include "tools/zelt_top/named_values.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <vector>

namespace zelt_top {

namespace {

const view::leg *find_leg(const view::picture &known, bool nr) {
    const view::leg *const last = known.legs.empty() ? nullptr : &known.legs.back();
    return last == nullptr                        ? nullptr
           : !nr                                  ? &known.legs.front()
           : last->name == std::string_view("NR") ? last
                                                  : nullptr;
}

const view::fact *find_in(const std::vector<view::fact> &facts, std::string_view name) {
    const auto found =
        std::ranges::find_if(facts, [name](const view::fact &one) { return std::string_view(one.name) == name; });
    return found == facts.end() ? nullptr : &*found;
}

bool take_prefix(std::string_view &name) {
    const bool nr = name.starts_with(NR_PREFIX);
    name.remove_prefix(nr ? NR_PREFIX.size() : 0);
    return nr;
}

}  // namespace

const view::signal_value *find_signal(const view::picture &known, std::string_view name) {
    const view::leg *const of = find_leg(known, take_prefix(name));
    if (of == nullptr) {
        return nullptr;
    }
    const auto found = std::ranges::find_if(of->signals, [name](const view::signal_value &one) {
        return std::string_view(view::scale_of(one.what).name) == name;
    });
    return found == of->signals.end() ? nullptr : &*found;
}

const view::fact *find_fact(const view::picture &known, std::string_view name) {
    const bool nr = take_prefix(name);
    const view::leg *const of = find_leg(known, nr);
    const view::fact *found = of == nullptr ? nullptr : find_in(of->facts, name);
    // What stands beside the legs is the only leg's, or the anchor's.
    if (found == nullptr && of != nullptr && of == &known.legs.front()) {
        found = find_in(known.cell, name);
        found = found != nullptr ? found : find_in(known.radio, name);
    }
    return found;
}

std::string as_written(double value) {
    std::array<char, 40> text{};
    std::snprintf(text.data(), text.size(), "%.10g", value);
    return text.data();
}

}  // namespace zelt_top
