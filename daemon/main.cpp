#include "daemon/zelt_stats.h"

// The usage text is fixed, so the binary itself tells its version: strings zelt-stats | grep version. The linker keeps
// it though nothing calls for it.
[[gnu::used, gnu::retain]] static constexpr char BUILD_INFORMATION[] = "zelt-stats version " ZELT_VERSION;

int main(int argc, char **argv) {
    return zelt_stats(argc, argv);
}
