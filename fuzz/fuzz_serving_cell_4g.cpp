// The serving-cell line of a 4G module, with whichever decoder and follow-up query it leads to.
#include "decode/serving_cell.h"
#include "fuzz/invariants.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    fake::reset();
    fake::platform().at_answers = {{"at+qeng=\"servingcell\"", {{1, text_of_input(data, size)}}},
                                   {"at+qnwinfo", {{1, R"(+QNWINFO: "HSPA+","310410","WCDMA 850",4385)"}}},
                                   {"at+csq", {{1, "+CSQ: 20,99"}}}};
    parse_4g_module_stats();
    require_free_port();
    require_known_exceptions();
    require_sound_statistics();
    require(fake::cell("CELL_NR5G_SQI").empty(), "no NR value on a 4G module");
    const bool stopped = !fake::journal_of({"log alert:"}).empty();
    const bool decoded = !fake::journal_of({"log debug: Parsing"}).empty();
    require(fake::cell("CELL_NET_TYPE").empty() == (stopped || !decoded), "a whole line sets the network type");
    return 0;
}
