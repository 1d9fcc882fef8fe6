// Micro-benchmarks of what a cycle does beside waiting: decoding, conversion, the summary's text. Each is introduced by
// what it measures and why it matters.
#include <array>
#include <cstdlib>
#include <string>
#include <string_view>

#include <benchmark/benchmark.h>
#include <syslog.h>

#include "base/target_arithmetic.h"
#include "decode/lte.h"
#include "decode/nr.h"
#include "host/at_text.h"
#include "platform/device_utils.h"
#include "stats/cell_stats_map.h"

// In place of the C library's: where nobody reads the log, a line costs more than what it tells of.
extern "C" void syslog(int, const char *, ...) {}
extern "C" void __syslog_chk(int, int, const char *, ...) {}  // NOLINT(bugprone-reserved-identifier)

namespace {

constexpr const char *LTE_LINE = "\"LTE\",\"FDD\",001,01,1A30202,389,1300,3,5,5,7B11,-97,-11,-68,14,29,-,-";

// The yardstick of the decoder: the same line, split at its commas, its numbers converted, nothing kept.
void split_and_convert(benchmark::State &state) {
    while (state.KeepRunning()) {
        std::array<char, 128> copy{};
        std::string_view(LTE_LINE).copy(copy.data(), copy.size() - 1);
        char *rest = nullptr;
        long sum = 0;
        for (const char *field = strtok_consecutive_r(copy.data(), ",", &rest); field != nullptr;
             field = strtok_consecutive_r(nullptr, ",", &rest)) {
            sum += std::strtol(field, nullptr, 10);
        }
        benchmark::DoNotOptimize(sum);
    }
}
BENCHMARK(split_and_convert);

// One LTE serving-cell line into the cell statistics: the work that each cycle does for each radio.
void decode_lte_line(benchmark::State &state) {
    while (state.KeepRunning()) {
        parse_lte_catm(LTE_LINE, true);
    }
}
BENCHMARK(decode_lte_line);

// The same for the NR leg of EN-DC.
void decode_nsa_line(benchmark::State &state) {
    while (state.KeepRunning()) {
        parse_5g_nsa("\"NR5G-NSA\",001,01,65,-96,15,-11,640000,78,12,1");
    }
}
BENCHMARK(decode_nsa_line);

// One value into the statistics: called some forty times a cycle.
void update_one_value(benchmark::State &state) {
    while (state.KeepRunning()) {
        update_cell_stats_map("CELL_RSRP", "-97");
    }
}
BENCHMARK(update_one_value);

// An answer of a module cut into lines, in the pieces in which a serial port hands it over.
void cut_lines(benchmark::State &state) {
    const std::string answer =
        std::string("\r\n+QENG: \"servingcell\",\"NOCONN\"\r\n+QENG: ") + LTE_LINE + "\r\n\r\nOK\r\n";
    const auto piece = static_cast<std::size_t>(state.range(0));
    while (state.KeepRunning()) {
        line_cutter cutter;
        for (std::size_t at = 0; at < answer.size(); at += piece) {
            std::string_view bytes = std::string_view(answer).substr(at, piece);
            while (auto line = cutter.next_line(bytes)) {
                benchmark::DoNotOptimize(line);
            }
        }
    }
}
BENCHMARK(cut_lines)->Arg(7)->Arg(64)->Arg(512);

}  // namespace
