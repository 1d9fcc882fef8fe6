// What a whole clearing of the published values leaves in the fake platform's journal, for the suites that meet one.
#pragma once

#include <string>
#include <vector>

// The database half, with nothing pending beside the three groups that it resets.
inline std::vector<std::string> journal_of_clearing_the_database() {
    std::vector<std::string> journal{
        "sysdb_init 0",
        "sysdb_txn_start CELL 0",
        "sysdb_write_int CELL_REGISTERED int 0",
        "sysdb_write_int CELL_ROAMING int 0",
        "sysdb_write_int CELL_CONNECTED int 0",
        "sysdb_write_str CELL_IPV4 string 0.0.0.0",
        "sysdb_write_str CELL_MASK string 0.0.0.0",
        "sysdb_write_str CELL_GATEWAY string 0.0.0.0",
        "sysdb_write_str CELL_BCAST string 0.0.0.0",
        "sysdb_write_int CELL_BAND int -999",
        "sysdb_write_int CELL_LTE_BAND int -999",
        "sysdb_write_int CELL_LTE_RSRP int -999",
        "sysdb_write_int CELL_LTE_RSRQ int -999",
        "sysdb_write_int CELL_LTE_RSSI int -999",
        "sysdb_write_dbl CELL_LTE_SINR real -999.0",
        "sysdb_write_int CELL_LTE_SQI int -999",
        "sysdb_write_int CELL_NR5G_BAND int -999",
        "sysdb_write_int CELL_NR5G_RSRP int -999",
        "sysdb_write_int CELL_NR5G_RSRQ int -999",
        "sysdb_write_dbl CELL_NR5G_SINR real -999.0",
        "sysdb_write_int CELL_NR5G_SQI int -999",
        "sysdb_write_int CELL_RSRP int -999",
        "sysdb_write_int CELL_RSRQ int -999",
        "sysdb_write_int CELL_RSSI int -999",
        "sysdb_write_dbl CELL_SINR real -999.0",
        "sysdb_write_int CELL_SQI int -999",
        "sysdb_txn_end",
        "sysdb_exit",
    };
    for (const char *number : {"1", "2", "3", "4", "5", "6"}) {
        journal.insert(journal.end(), {"sysdb_init 0", "sysdb_txn_start CELL 0"});
        for (const char *key :
             {"CELL_CHAN_BW_DL", "CELL_CHANNEL", "CELL_BAND", "CELL_RSRP", "CELL_RSRQ", "CELL_RSSI", "CELL_SINR"}) {
            journal.push_back(std::string("sysdb_del ") + key + "_SCC_" + number);
        }
        journal.insert(journal.end(), {"sysdb_txn_end", "sysdb_exit"});
    }
    return journal;
}

// All of it, before the connection event that may follow.
inline std::vector<std::string> journal_of_clearing() {
    std::vector<std::string> journal{
        "log alert: zelt-stats clearing values",
        "brelsys /usr/bin/cmd_netgen WWAN_RESET",
        "ip_link_set_interface_down wwan0",
        "brelsys /usr/bin/cmd_ddns stop",
    };
    const std::vector<std::string> database = journal_of_clearing_the_database();
    journal.insert(journal.end(), database.begin(), database.end());
    return journal;
}
