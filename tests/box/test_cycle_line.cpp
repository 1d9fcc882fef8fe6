#include "sim/cycle_line.h"

#include <gtest/gtest.h>

TEST(cycle_line, shows_lte) {
    EXPECT_EQ(cycle_line({{"CELL_NET_TYPE", {"string", "LTE"}},
                          {"CELL_BAND", {"int", "3"}},
                          {"CELL_EARFCN", {"int", "1850"}},
                          {"CELL_RSRP", {"int", "-95"}},
                          {"CELL_RSRQ", {"int", "-11"}},
                          {"CELL_SINR", {"real", "12.0"}},
                          {"CELL_SQI", {"int", "60"}},
                          {"CELL_REGISTERED", {"int", "1"}},
                          {"CELL_ROAMING", {"int", "1"}}}),
              "LTE B3 (EARFCN 1850)  RSRP -95 dBm  RSRQ -11 dB  SINR 12 dB  SQI 60 %  registered, roaming");
}

TEST(cycle_line, leaves_out_what_is_not_reported) {
    EXPECT_EQ(cycle_line({{"CELL_NET_TYPE", {"string", "LTE"}},
                          {"CELL_RSRP", {"int", "-999"}},
                          {"CELL_SINR", {"real", "-999.0"}},
                          {"CELL_SQI", {"int", "0"}},
                          {"CELL_REGISTERED", {"int", "0"}}}),
              "LTE  SQI 0 %  not registered");
}

TEST(cycle_line, shows_the_values_of_each_technology) {
    const cell_values nr{{"CELL_NET_TYPE", {"string", "5G NSA"}},
                         {"CELL_NR5G_BAND", {"int", "78"}},
                         {"CELL_LTE_BAND", {"int", "3"}},
                         {"CELL_NR5G_SINR", {"real", "12.5"}}};
    EXPECT_EQ(cycle_line(nr), "5G NSA n78 + LTE B3  SINR 12.5 dB");
    const cell_values wcdma{
        {"CELL_NET_TYPE", {"string", "WCDMA"}}, {"CELL_UARFCN", {"int", "3037"}}, {"CELL_ECIO", {"int", "-15"}}};
    EXPECT_EQ(cycle_line(wcdma), "WCDMA (UARFCN 3037)  Ec/Io -15 dB");
    const cell_values gsm{{"CELL_NET_TYPE", {"string", "GSM"}}, {"CELL_RSSI", {"int", "-73"}}};
    EXPECT_EQ(cycle_line(gsm), "GSM  RSSI -73 dBm");
}

TEST(cycle_line, says_when_there_is_no_cell) {
    EXPECT_EQ(cycle_line({}), "no cell");
}
