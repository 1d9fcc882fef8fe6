#include "daemon/zelt_stats.h"

int main(int argc, char **argv) {
    return zelt_stats(argc, argv);
}
