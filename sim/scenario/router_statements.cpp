// What the router does.
#include <algorithm>
#include <chrono>
#include <optional>
#include <string>
#include <string_view>

#include <arpa/inet.h>

#include "sim/scenario/line_text.h"
#include "sim/scenario/signal_names.h"
#include "sim/scenario/statements.h"

namespace {

using enum statement_kind;

// For statements that take a path and nothing else.
template <void (router::*perform)(const std::string &path)>
statement_content read_path(parser &in) {
    return [path = in.path()](router &on) { (on.*perform)(path); };
}

// "600s ago", "10s ahead"; nothing: now.
statement_content read_uptime(parser &in) {
    const std::string path = in.path();
    const auto rest = in.take_rest();
    long long offset = 0;
    if (!rest.empty()) {
        const auto unit = rest.find("s ");
        const auto seconds = to_number<unsigned int>(rest.substr(0, unit));
        const auto direction = unit == rest.npos ? std::string_view() : rest.substr(unit + 2);
        if (!seconds || (direction != "ago" && direction != "ahead")) {
            in.fail("a path, and behind it nothing or TIME ago or TIME ahead, in whole seconds");
        }
        offset = direction == "ago" ? -static_cast<long long>(*seconds) : *seconds;
    }
    return [path, offset](router &on) { on.write_uptime(path, offset); };
}

statement_content read_address(parser &in) {
    const std::string text = in.word_or_fail("an address such as 10.1.2.3/30, or none");
    if (text == "none") {
        return [](router &on) { on.set_address(""); };
    }
    const auto slash = std::min(text.find('/'), text.size() - 1);
    const auto bits = to_number<unsigned int>(std::string_view(text).substr(slash + 1));
    in_addr address{};
    if (!bits || *bits > 32 || inet_pton(AF_INET, text.substr(0, slash).c_str(), &address) != 1) {
        in.fail("an address such as 10.1.2.3/30, or none, found \"" + text + "\"");
    }
    return [text](router &on) { on.set_address(text); };
}

action install(const std::string &path, int status, scenario_time delay, const std::string &output) {
    return [=](router &on) { on.install_program(path, status, delay, output); };
}

statement_content read_program(parser &in) {
    const std::string path = in.path();
    std::optional<unsigned char> status;
    std::optional<scenario_time> delay;
    for (std::string option = in.word(); !option.empty(); option = in.word()) {
        if (option == "status" && !status) {
            status = to_number<unsigned char>(in.word());
            if (!status) {
                in.fail("an exit status from 0 to 255 behind status");
            }
        } else if (option == "delay" && !delay) {
            delay = in.time();
        } else {
            in.fail("\"status N\" or \"delay TIME\", each once, found \"" + option + "\"");
        }
    }
    return install(path, status.value_or(0), delay.value_or(scenario_time(0)), "");
}

// The tool that tells the connection's settings: what it prints, or how it goes wrong.
statement_content read_qmicli(parser &in) {
    constexpr const char *TOOL = "/usr/bin/qmicli";
    constexpr auto LONGER_THAN_ANYBODY_WAITS = std::chrono::hours(24);
    const std::string fault = in.word();
    if (fault.empty()) {
        return install(TOOL, 0, scenario_time(0), in.block_bytes("\n"));
    }
    if (fault != "fail" && fault != "hang") {
        in.fail("qmicli with a block, qmicli fail or qmicli hang");
    }
    return fault == "fail" ? install(TOOL, 1, scenario_time(0), "") : install(TOOL, 0, LONGER_THAN_ANYBODY_WAITS, "");
}

statement_content read_signal(parser &in) {
    const std::string name = in.word();
    const auto number = signal_number(name);
    if (!number) {
        in.fail("a signal: TERM, INT, QUIT, KILL, STOP or CONT, found \"" + name + "\"");
    }
    return [number](router &on) { on.signal_daemon(*number); };
}

statement_content read_say(parser &in) {
    const std::string text(in.take_rest());
    if (text.empty()) {
        in.fail("a text behind say");
    }
    return [text](router &on) { on.say(text); };
}

constexpr statement_form STATEMENTS[] = {
    {"config + block", anywhere,
     [](parser &in) -> statement_content {
         const std::string json = join(in.block_or_fail(), "\n") + "\n";
         return [json](router &on) { on.write_config(json); };
     }},
    {"touch PATH", anywhere, read_path<&router::touch_file>},
    {"remove PATH", anywhere, read_path<&router::remove_file>},
    {"directory PATH", anywhere, read_path<&router::make_directory>},
    {"write PATH + block", anywhere,
     [](parser &in) -> statement_content {
         const std::string path = in.path();
         const std::string bytes = in.block_bytes("\n");
         return [path, bytes](router &on) { on.write_file(path, bytes); };
     }},
    {"uptime PATH [TIME ago], uptime PATH TIME ahead", anywhere, read_uptime},
    {"address 10.1.2.3/30, address none", anywhere, read_address},
    {"program PATH [status N] [delay TIME]", anywhere, read_program},
    {"qmicli + block, qmicli fail, qmicli hang", anywhere, read_qmicli},
    {"broker start, broker stop", anywhere,
     [](parser &in) -> statement_content {
         const bool runs = in.either("start", "stop", "broker start or broker stop");
         return [runs](router &on) { on.run_broker(runs); };
     }},
    {"set DATABASE KEY TYPE VALUE", anywhere,
     [](parser &in) -> statement_content {
         const std::string database = in.word_or_fail("set DATABASE KEY TYPE VALUE");
         return [what = set_key{database, in.key()}](router &on) { on.write_key(what); };
     }},
    {"signal NAME", running, read_signal},
    {"start", running, read_nothing<&router::start_daemon>},
    {"say TEXT", anywhere, read_say},
    {"mark", anywhere, read_nothing<&router::set_mark>},
};

}  // namespace

std::span<const statement_form> router_statements() {
    return STATEMENTS;
}
