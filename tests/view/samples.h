// Databases made up by hand, one for each technology, and what surrounds them.
#pragma once

#include <string>

#include "view/picture.h"

namespace samples {

using view::snapshot;

inline snapshot operator+(snapshot left, const snapshot &right) {
    for (const auto &[key, stored] : right) {
        left.insert_or_assign(key, stored);
    }
    return left;
}

inline snapshot network() {
    return {{"CELL_REGISTERED", 1},
            {"CELL_ROAMING", 0},
            {"CELL_CONNECTED", 1},
            {"CELL_CARRIER", std::string("Example Net")},
            {"CELL_IPV4", std::string("10.64.12.7")},
            {"CELL_MCC", std::string("262")},
            {"CELL_MNC", std::string("01")}};
}

inline snapshot lte() {
    return network() + snapshot{{"CELL_NET_TYPE", std::string("LTE")},
                                {"CELL_NET_TYPE_INT", 20},
                                {"CELL_CID", 27447296},
                                {"CELL_PCID", 123},
                                {"CELL_EARFCN", 1300},
                                {"CELL_CHANNEL", 1300},
                                {"CELL_BAND", 3},
                                {"CELL_LTE_BAND", 3},
                                {"CELL_CHAN_BW_UL", std::string("10")},
                                {"CELL_CHAN_BW_DL", std::string("20")},
                                {"CELL_TAC", 12345},
                                {"CELL_RSRP", -95},
                                {"CELL_LTE_RSRP", -95},
                                {"CELL_RSRQ", -11},
                                {"CELL_LTE_RSRQ", -11},
                                {"CELL_RSSI", -65},
                                {"CELL_LTE_RSSI", -65},
                                {"CELL_SINR", 12.4},
                                {"CELL_LTE_SINR", 12.4},
                                {"CELL_SQI", 60},
                                {"CELL_LTE_SQI", 60}};
}

inline snapshot cat_m() {
    return lte() + snapshot{{"CELL_NET_TYPE", std::string("CAT-M")}, {"CELL_NET_TYPE_INT", 10}};
}

// The NR leg has taken the generic keys; the anchor's values stand in the LTE keys.
inline snapshot nsa() {
    return lte() + snapshot{{"CELL_NET_TYPE", std::string("5G NSA")},
                            {"CELL_NET_TYPE_INT", 25},
                            {"CELL_PCID", 501},
                            {"CELL_BAND", 78},
                            {"CELL_NR5G_BAND", 78},
                            {"CELL_RSRP", -85},
                            {"CELL_NR5G_RSRP", -85},
                            {"CELL_RSRQ", -16},
                            {"CELL_NR5G_RSRQ", -16},
                            {"CELL_SINR", 20.0},
                            {"CELL_NR5G_SINR", 20.0},
                            {"CELL_SQI", 76},
                            {"CELL_NR5G_SQI", 76}};
}

// Over old LTE values: identity and channel are LTE's, and no longer true.
inline snapshot sa() {
    return nsa() + snapshot{{"CELL_NET_TYPE", std::string("5G SA")}, {"CELL_NET_TYPE_INT", 30}};
}

inline snapshot wcdma() {
    return lte() + snapshot{{"CELL_NET_TYPE", std::string("WCDMA")},
                            {"CELL_NET_TYPE_INT", 15},
                            {"CELL_LAC", 11101},
                            {"CELL_CID", 27440068},
                            {"CELL_UARFCN", 3037},
                            {"CELL_CHANNEL", 3037},
                            {"CELL_BAND", 900},
                            {"CELL_RAC", 1},
                            {"CELL_ECIO", -15},
                            {"CELL_SQI", 50}};
}

inline snapshot gsm() {
    return lte() + snapshot{{"CELL_NET_TYPE", std::string("GSM")},
                            {"CELL_NET_TYPE_INT", 5},
                            {"CELL_LAC", 56401},
                            {"CELL_CID", 47385},
                            {"CELL_BSIC", 26},
                            {"CELL_ARFCN", 50},
                            {"CELL_CHANNEL", 50},
                            {"CELL_BAND", 900},
                            {"CELL_RXLEV", -73},
                            {"CELL_TXP", 5},
                            {"CELL_RSSI", -93},
                            {"CELL_SQI", 30}};
}

inline snapshot secondary(int number, const std::string &bandwidth, int channel, int band, int rsrp, int rsrq, int rssi,
                          double sinr) {
    const std::string end = "_SCC_" + std::to_string(number);
    return {{"CELL_CHAN_BW_DL" + end, bandwidth},
            {"CELL_CHANNEL" + end, channel},
            {"CELL_BAND" + end, band},
            {"CELL_RSRP" + end, rsrp},
            {"CELL_RSRQ" + end, rsrq},
            {"CELL_RSSI" + end, rssi},
            {"CELL_SINR" + end, sinr}};
}

// Everything that a full database can hold at once.
inline snapshot crowded() {
    snapshot all = nsa();
    for (int number = 1; number <= 6; ++number) {
        all = all + secondary(number, "20", 66486, 66, -125, -20, -110, -12.0);
    }
    return all + snapshot{{"CELL_RSSIMON", std::string("RM520N-GL, SQI: 100%, RSSI: -113 dBm, , RSRP: -140 dBm, "
                                                       "RSRQ: -20 dB, , SNR: -10 dB, Chan: 66986, TxChan: 66986, "
                                                       "Band: 71, BW: 20, RAT: 5G NSA, ROAMING, , , , "
                                                       "Cell-ID: 268435455, TAC: 65535, LAC: 65535, MCC: 310, "
                                                       "MNC: 410, 2nd RSSI: -113 dBm, RSRP2: -140 dBm, 2nd Band: 66, "
                                                       "2nd BW: 20, ICCID: 89490200001234567890, SIM: 1, "
                                                       "Temp: 41.500000")}};
}

inline view::reading read_from(snapshot cell) {
    view::reading reading;
    reading.folder = "/run/sysdb";
    reading.cell = std::move(cell);
    return reading;
}

inline view::picture picture_of(snapshot cell, const view::runtime_state &around = {},
                                const view::ages &age = {2.0, 2.0, 3725.0}) {
    return view::build_picture(read_from(std::move(cell)), around, age);
}

}  // namespace samples
