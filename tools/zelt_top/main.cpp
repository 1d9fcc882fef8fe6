// zelt-top: the live view of the radio and the link, for people. Reads the database and a few run-time files, never the
// module's port; writes nothing but its output.
#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <clocale>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <exception>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include <langinfo.h>
#include <unistd.h>

#include "store/value_text.h"
#include "tools/zelt_top/antenna.h"
#include "tools/zelt_top/check.h"
#include "tools/zelt_top/columns.h"
#include "tools/zelt_top/csv.h"
#include "tools/zelt_top/database.h"
#include "tools/zelt_top/events.h"
#include "tools/zelt_top/last_resort.h"
#include "tools/zelt_top/layout.h"
#include "tools/zelt_top/options.h"
#include "tools/zelt_top/runtime_state.h"
#include "tools/zelt_top/screen.h"
#include "tools/zelt_top/terminal.h"
#include "view/json.h"
#include "view/line.h"

namespace zelt_top {
namespace {

double now_seconds() {
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    return std::chrono::duration<double>(now).count();
}

// What one refresh after the other knows.
struct watch {
    explicit watch(bool subscriber_too) : with_subscriber(subscriber_too) {}

    void refresh() {
        latest = source.read();
        const view::runtime_state around = read_runtime_state({}, latest.port.troubled());
        const double now = now_seconds();
        known = view::build_picture(latest, around, past.note(latest, around, now));
        if (with_subscriber) {
            known.owner = view::find_subscriber(latest);
        }
        past.note_signals(known, latest, now);
        ++refreshes;
    }

    bool with_subscriber;
    database source{sysdb_folder()};
    view::reading latest;
    memory past;
    view::picture known;
    unsigned long refreshes = 0;
};

bool wants_colour(const options &chosen) {
    const char *refused = std::getenv("NO_COLOR");  // any text in it counts, by convention
    return chosen.colour && (refused == nullptr || *refused == '\0');
}

page plain_page(const watch &of) {
    page on;
    on.width = terminal_columns() != 0 ? terminal_columns() : on.width;
    on.utf8 = isatty(STDOUT_FILENO) != 0 ? terminal_shows_utf8() : std::string(nl_langinfo(CODESET)) == "UTF-8";
    on.history = of.refreshes > 1;
    return on;
}

std::string as_text(const watch &of, const options &chosen) {
    if (chosen.json) {
        return view::to_json(of.known, of.latest) + '\n';
    }
    if (chosen.csv) {
        return (of.refreshes == 1 ? csv_header(of.with_subscriber) : "") + csv_row(of.known, of.latest);
    }
    std::string text;
    for (const line &one : lay_out(of.known, of.past, plain_page(of))) {
        text += one.plain_text() + '\n';
    }
    return text;
}

// False when nobody can read it any more. A reader that went away, as head does, is no fault worth a message.
bool print(const std::string &text) {
    errno = 0;
    const bool printed = std::fputs(text.c_str(), stdout) >= 0 && std::fflush(stdout) == 0;
    if (!printed && errno != EPIPE) {
        std::perror("zelt-top: cannot write to the standard output");
    }
    return printed;
}

int run_once(const options &chosen) {
    watch of(chosen.show_subscriber);
    of.refresh();
    if (!of.latest.cell) {
        std::fprintf(stderr, "zelt-top: %s\n", shown(of.known.sentence).c_str());
        return NO_DATABASE;
    }
    return print(as_text(of, chosen)) ? 0 : OUTPUT_LOST;
}

// After the first page only lines: a new one where there is more to say than that time went by.
class change_log {
public:
    std::string next(const watch &of, const options &chosen) {
        const std::string values = of.known.current() ? view::line_of(*of.latest.cell) : view::name_of(of.known.state);
        if (std::exchange(last_, values) == values) {
            return {};
        }
        const std::string text = clock_time() + ' ' + (of.known.current() ? values : of.known.sentence);
        return of.refreshes == 1 ? as_text(of, chosen) : broken(plain_page(of).utf8 ? text : ascii_only(text)) + '\n';
    }

private:
    // Into the lines of the terminal; what is no terminal gets one.
    static std::string broken(const std::string &text) {
        constexpr std::size_t INDENT = 2;
        const std::size_t width = terminal_columns();
        if (width <= INDENT || columns(text) <= width) {
            return text;
        }
        std::string lines;
        for (const std::string &part : wrap_fields(text, "  ", width - INDENT)) {
            lines += (lines.empty() ? "" : "\n" + std::string(INDENT, ' ')) + part;
        }
        return lines;
    }

    static std::string clock_time() {
        const std::time_t now = std::time(nullptr);
        std::tm parts{};
        std::array<char, 16> text{};
        return localtime_r(&now, &parts) != nullptr && std::strftime(text.data(), text.size(), "%H:%M:%S", &parts) != 0
                   ? text.data()
                   : "";
    }

    std::string last_;
};

int run_stream(const options &chosen) {
    const events waiting(false);
    watch of(chosen.show_subscriber);
    change_log changes;
    while (true) {
        of.refresh();
        if (!print(chosen.json || chosen.csv ? as_text(of, chosen) : changes.next(of, chosen))) {
            return OUTPUT_LOST;
        }
        const double next = now_seconds() + chosen.interval_seconds;
        for (event what = event::resize; what != event::time;) {
            what = waiting.wait(next - now_seconds());
            if (what == event::stop) {
                return 0;
            }
            if (what == event::suspend) {
                std::raise(SIGSTOP);
            }
        }
    }
}

// What the person chose to see.
struct view_mode {
    bool paused = false;
    bool help = false;
    std::optional<best_signals> antenna = {};  // from when its page was opened
};

void draw(screen &terminal, const watch &of, const view_mode &mode) {
    page on;
    on.width = terminal.width();
    on.height = terminal.height();
    on.utf8 = terminal_shows_utf8();
    on.keys = true;
    on.history = true;
    on.paused = mode.paused;
    on.antenna = mode.antenna.has_value();
    terminal.draw(mode.help      ? lay_out_help(on)
                  : mode.antenna ? lay_out_antenna(of.known, *mode.antenna, on)
                                 : lay_out(of.known, of.past, on));
}

void take_key(int key, view_mode &mode, watch &of) {
    constexpr int ESCAPE = 27;
    switch (key) {
    case 'p':
    case 'P':
    case ' ':
        mode.paused = !mode.paused;
        of.past.leave_gap(now_seconds());
        break;
    case 'h':
    case 'H':
    case '?':
        mode.help = !mode.help;
        break;
    case 'a':
    case 'A':
        if (mode.antenna) {
            mode.antenna.reset();
        } else {
            mode.antenna.emplace().note(of.known);
        }
        mode.help = false;
        break;
    case ESCAPE:
        mode.antenna.reset();
        break;
    default:
        break;
    }
}

int run_screen(const options &chosen) {
    const events waiting(true);  // before the screen: the terminal library sets its own handlers where none are set
    screen terminal(wants_colour(chosen));
    watch of(chosen.show_subscriber);
    view_mode mode;
    double next = now_seconds();
    while (true) {
        if (now_seconds() >= next) {
            if (!mode.paused) {
                of.refresh();
                if (mode.antenna && mode.antenna->note(of.known)) {
                    terminal.ring();
                }
            }
            next = now_seconds() + chosen.interval_seconds;
        }
        draw(terminal, of, mode);
        switch (waiting.wait(next - now_seconds())) {
        case event::key:
            for (int key = 0; (key = terminal.key()) != -1;) {
                if (key == 'q' || key == 'Q') {
                    return 0;
                }
                take_key(key, mode, of);
            }
            break;
        case event::resize:
            terminal.follow_size();
            break;
        case event::suspend:
            terminal.suspend();
            break;
        case event::resume:
            terminal.resume();
            of.past.leave_gap(now_seconds());
            break;
        case event::stop:
        case event::input_lost:
            return 0;
        case event::time:
            break;
        }
    }
}

int answer(const verdict &given) {
    return print(given.line + '\n') ? given.exit_code() : no_verdict("").exit_code();
}

// Whatever fails, a monitoring system must not take it for a warning.
int run_check(const options &chosen) try {
    watch of(false);
    of.refresh();
    return answer(of.latest.cell ? judge(*chosen.check, of.known) : no_verdict(of.known.sentence));
} catch (const std::exception &e) {
    return answer(no_verdict(e.what()));
}

// A monitoring system would take the exit code of wrong usage for a critical state.
bool asks_for_check(int argc, char **argv) {
    return std::any_of(argv, argv + argc, [](const char *word) { return std::string_view(word).starts_with("--ch"); });
}

int run(int argc, char **argv) {
    int exit_code = 0;
    const std::optional<options> chosen = parse_options(argc, argv, exit_code);
    if (!chosen) {
        return exit_code == USAGE && asks_for_check(argc, argv) ? answer(no_verdict("wrong usage, see zelt-top --help"))
                                                                : exit_code;
    }
    if (chosen->check) {
        return run_check(*chosen);
    }
    if (chosen->once) {
        return run_once(*chosen);
    }
    if (chosen->json || chosen->csv) {
        return run_stream(*chosen);
    }
    const std::string problem = why_no_screen();
    if (problem.empty()) {
        return run_screen(*chosen);
    }
    std::fprintf(stderr, "zelt-top: plain text, a line a change: %s\n", shown(problem).c_str());
    return run_stream(*chosen);
}

}  // namespace
}  // namespace zelt_top

int main(int argc, char **argv) try {
    std::setlocale(LC_CTYPE, "");
    std::signal(SIGPIPE, SIG_IGN);
    zelt_top::expect_the_worst();
    return zelt_top::run(argc, argv);
} catch (const std::exception &e) {
    std::fprintf(stderr, "zelt-top: %s\n", shown(e.what()).c_str());
    return zelt_top::OUTPUT_LOST;
}
