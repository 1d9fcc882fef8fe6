// The text of a scenario: read, and carried out on a router that only exists on paper.
#include <algorithm>

#include "fuzz/require.h"
#include "tests/sim/scenario/paper_router.h"

namespace {

// Whoever wrote the text must find the place: "fuzz:12: expected ...", on one line.
void require_helpful(std::string_view problem, std::string_view text) {
    constexpr std::string_view NAME = "fuzz:";
    require(problem.starts_with(NAME), "the name of the file: ", problem);
    const std::string number(problem.substr(NAME.size(), problem.find(':', NAME.size()) - NAME.size()));
    const std::size_t line = std::strtoul(number.c_str(), nullptr, 10);
    const auto line_ends = static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
    require(1 <= line && line <= line_ends + 1, "a line of the file: ", problem);
    require(problem.find(": expected ") != problem.npos, "what was expected: ", problem);
}

void carry_out_on_paper(const scenario &story) {
    paper_router router;
    router.keys["CELL_RSRP"] = {"int", "-95"};
    router.log = {{"local0.alert", "Cell disconnected"}, {CALL_PRIORITY, "cmd_netgen dnsmasq"}};
    router.file = "1500";
    router.interface = true;
    router.message = mqtt_message{"v1/device/zelt-man", "{}"};
    for (const scenario_step &step : story.steps) {
        if (const auto *what = std::get_if<action>(&step.what)) {
            (*what)(router);
        }
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    const std::string text = bytes_of({data, size});
    try {
        const scenario story = parse_scenario(text, "fuzz");
        std::size_t last = 0;
        for (const scenario_step &step : story.steps) {
            require(step.line > last, "statements come in order");
            last = step.line;
        }
        carry_out_on_paper(story);
    } catch (const scenario_error &e) {
        require_helpful(e.what(), text);
    }
    return 0;
}
