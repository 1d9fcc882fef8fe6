// The network type is always written as a pair: a name for people, a number for programs.
#pragma once

struct network_type {
    const char *name;  // "CELL_NET_TYPE"
    int number;        // "CELL_NET_TYPE_INT"
};

inline constexpr network_type NETWORK_GSM{"GSM", 5};
inline constexpr network_type NETWORK_CAT_M{"CAT-M", 10};
inline constexpr network_type NETWORK_WCDMA{"WCDMA", 15};
inline constexpr network_type NETWORK_LTE{"LTE", 20};
inline constexpr network_type NETWORK_5G_NSA{"5G NSA", 25};
inline constexpr network_type NETWORK_5G_SA{"5G SA", 30};

void update_network_type(const network_type &type);
