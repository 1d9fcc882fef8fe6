#include "view/band.h"

#include <algorithm>
#include <array>
#include <cstddef>

namespace view {

namespace {

using enum duplex;

// 3GPP 36.101, table 5.5-1. The numbers that are not here are reserved, or were never put into service.
// clang-format off
constexpr std::array LTE_BANDS = std::to_array<band>({
    {1, 2100, fdd}, {2, 1900, fdd}, {3, 1800, fdd}, {4, 1700, fdd}, {5, 850, fdd}, {7, 2600, fdd}, {8, 900, fdd},
    {9, 1800, fdd}, {10, 1700, fdd}, {11, 1500, fdd}, {12, 700, fdd}, {13, 700, fdd}, {14, 700, fdd}, {17, 700, fdd},
    {18, 850, fdd}, {19, 850, fdd}, {20, 800, fdd}, {21, 1500, fdd}, {22, 3500, fdd}, {24, 1600, fdd}, {25, 1900, fdd},
    {26, 850, fdd}, {27, 800, fdd}, {28, 700, fdd}, {29, 700, sdl}, {30, 2300, fdd}, {31, 450, fdd}, {32, 1500, sdl},
    {33, 1900, tdd}, {34, 2000, tdd}, {35, 1900, tdd}, {36, 1900, tdd}, {37, 1900, tdd}, {38, 2600, tdd},
    {39, 1900, tdd}, {40, 2300, tdd}, {41, 2500, tdd}, {42, 3500, tdd}, {43, 3700, tdd}, {44, 700, tdd},
    {45, 1500, tdd}, {46, 5200, tdd}, {47, 5900, tdd}, {48, 3500, tdd}, {49, 3500, tdd}, {50, 1500, tdd},
    {51, 1500, tdd}, {52, 3300, tdd}, {53, 2500, tdd}, {65, 2100, fdd}, {66, 1700, fdd}, {67, 700, sdl},
    {68, 700, fdd}, {69, 2600, sdl}, {70, 1700, fdd}, {71, 600, fdd}, {72, 450, fdd}, {73, 450, fdd}, {74, 1500, fdd},
    {75, 1500, sdl}, {76, 1500, sdl}, {85, 700, fdd}, {87, 410, fdd}, {88, 410, fdd},
});

// 3GPP 38.101-1, table 5.2-1. Bands for the direction up only are no serving cell's, and none of these modules has a
// receiver above 6 GHz.
constexpr std::array NR_BANDS = std::to_array<band>({
    {1, 2100, fdd}, {2, 1900, fdd}, {3, 1800, fdd}, {5, 850, fdd}, {7, 2600, fdd}, {8, 900, fdd}, {12, 700, fdd},
    {13, 700, fdd}, {14, 700, fdd}, {18, 850, fdd}, {20, 800, fdd}, {24, 1600, fdd}, {25, 1900, fdd}, {26, 850, fdd},
    {28, 700, fdd}, {29, 700, sdl}, {30, 2300, fdd}, {31, 450, fdd}, {34, 2000, tdd}, {38, 2600, tdd}, {39, 1900, tdd},
    {40, 2300, tdd}, {41, 2500, tdd}, {46, 5200, tdd}, {47, 5900, tdd}, {48, 3500, tdd}, {50, 1500, tdd},
    {51, 1500, tdd}, {53, 2500, tdd}, {65, 2100, fdd}, {66, 1700, fdd}, {67, 700, sdl}, {70, 1700, fdd}, {71, 600, fdd},
    {72, 450, fdd}, {74, 1500, fdd}, {75, 1500, sdl}, {76, 1500, sdl}, {77, 3700, tdd}, {78, 3500, tdd},
    {79, 4700, tdd}, {85, 700, fdd}, {90, 2500, tdd}, {91, 1500, fdd}, {92, 1500, fdd}, {93, 1500, fdd},
    {94, 1500, fdd}, {100, 900, fdd}, {101, 1900, tdd},
});
// clang-format on

}  // namespace

std::span<const band> bands(band_plan plan) {
    switch (plan) {
    case band_plan::none:
        break;
    case band_plan::lte:
        return LTE_BANDS;
    case band_plan::nr:
        return NR_BANDS;
    }
    return {};
}

const band *find_band(band_plan plan, double number) {
    const std::span<const band> all = bands(plan);
    const auto found = std::ranges::find_if(all, [number](const band &one) { return one.number == number; });
    return found == all.end() ? nullptr : &*found;
}

const char *word(duplex shared) {
    constexpr std::array<const char *, 3> WORDS{"FDD", "TDD", "SDL"};
    return WORDS.at(static_cast<std::size_t>(shared));
}

}  // namespace view
