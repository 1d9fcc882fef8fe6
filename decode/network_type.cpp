#include "decode/network_type.h"

#include <string>

#include "stats/cell_stats_map.h"

void update_network_type(const network_type &type) {
    update_cell_stat("CELL_NET_TYPE", type.name);
    update_cell_stat("CELL_NET_TYPE_INT", std::to_string(type.number));
}
