// The floor under the daemon's steady cycle: the same exchanges behind the same lock file, the same log datagrams, the
// same transactions with the same keys, one environment kept open, and nothing else: no decoding, no errors met, no
// stop. Runs in the box in the daemon's place until it is killed: zelt-sim run bench/steady.scenario --
// build/release/bench/floor
#include <array>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

#include <arpa/inet.h>
#include <fcntl.h>
#include <lmdb.h>
#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <syslog.h>
#include <termios.h>
#include <unistd.h>

namespace {

constexpr const char *LOCK_FILE = "/tmp/zelt.cli";
constexpr const char *PORT = "/dev/ttyQSB3";
constexpr const char *DATABASE_FOLDER = "/run/sysdb";

MDB_env *environment = nullptr;

void open_database() {
    constexpr mode_t FOLDER_MODE = 0755;
    constexpr mode_t FILE_MODE = 0644;
    constexpr std::size_t MAP_BYTES = std::size_t{4} * 1024 * 1024;
    constexpr unsigned int MOST_NAMED_DATABASES = 16;
    mkdir(DATABASE_FOLDER, FOLDER_MODE);
    mdb_env_create(&environment);
    mdb_env_set_mapsize(environment, MAP_BYTES);
    mdb_env_set_maxdbs(environment, MOST_NAMED_DATABASES);
    mdb_env_open(environment, DATABASE_FOLDER, MDB_NOSYNC | MDB_NOTLS, FILE_MODE);
}

class transaction {
public:
    explicit transaction(unsigned int flags, const char *name = "CELL") {
        mdb_txn_begin(environment, nullptr, flags, &txn_);
        is_there_ = mdb_dbi_open(txn_, name, flags == 0 ? MDB_CREATE : 0, &database_) == 0;
    }
    ~transaction() { mdb_txn_commit(txn_); }
    transaction(const transaction &) = delete;
    transaction &operator=(const transaction &) = delete;

    void put_int(std::string_view key, std::int32_t value) { put(key, 'i', &value, sizeof value); }
    void put_real(std::string_view key, double value) { put(key, 'r', &value, sizeof value); }
    void put_text(std::string_view key, std::string_view text) { put(key, 's', text.data(), text.size()); }

    void remove(std::string_view key) {
        MDB_val name = bytes_of(key);
        mdb_del(txn_, database_, &name, nullptr);
    }

    // How long the value is; the floor does not look at it.
    std::size_t get(std::string_view key) const {
        MDB_val name = bytes_of(key);
        MDB_val value = {};
        return is_there_ && mdb_get(txn_, database_, &name, &value) == 0 ? value.mv_size : 0;
    }

private:
    static MDB_val bytes_of(std::string_view text) { return {text.size(), const_cast<char *>(text.data())}; }

    void put(std::string_view key, char type, const void *payload, std::size_t size) {
        std::array<char, 512> bytes = {type};
        std::memcpy(bytes.data() + 1, payload, size);
        MDB_val name = bytes_of(key);
        MDB_val value = {size + 1, bytes.data()};
        mdb_put(txn_, database_, &name, &value, 0);
    }

    MDB_txn *txn_ = nullptr;
    MDB_dbi database_ = 0;
    bool is_there_ = false;
};

void set_raw(int port) {
    termios settings = {};
    tcgetattr(port, &settings);
    cfmakeraw(&settings);
    tcsetattr(port, TCSANOW, &settings);
}

// Up to the final result, which each answer of the box's module has.
std::string exchange(std::string_view command) {
    constexpr mode_t LOCK_MODE = 0644;
    if (access(LOCK_FILE, F_OK) == 0) {
        unlink(LOCK_FILE);
    }
    close(open(LOCK_FILE, O_CREAT | O_WRONLY | O_CLOEXEC, LOCK_MODE));
    const int port = open(PORT, O_RDWR | O_NOCTTY | O_CLOEXEC);
    set_raw(port);
    std::string answer;
    if (write(port, command.data(), command.size()) > 0) {
        std::array<char, 512> piece = {};
        while (!answer.ends_with("OK\r\n") && !answer.ends_with("ERROR\r\n")) {
            const ssize_t size = read(port, piece.data(), piece.size());
            if (size <= 0) {
                break;
            }
            answer.append(piece.data(), static_cast<std::size_t>(size));
        }
    }
    close(port);
    unlink(LOCK_FILE);
    return answer;
}

void ask_registration() {
    syslog(LOG_INFO, "Updating registration and roaming");
    exchange("at+creg?\r");
    transaction(0).put_int("CELL_REGISTERED", 1);
    transaction(0).put_int("CELL_ROAMING", 0);
}

void ask_serving_cell() {
    syslog(LOG_INFO, "Parsing RM5XX stats");
    const std::string answer = exchange("at+qeng=\"servingcell\"\r");
    syslog(LOG_DEBUG, "SERVINGCELL:%s", answer.c_str());
    syslog(LOG_DEBUG, "Parsing LTE:%s", "\"LTE\",\"FDD\",001,01,1A30202,389,1300,3,5,5,7B11,-97,-11,-68,14,29,-,-");
    syslog(LOG_DEBUG, "parse_lte_catm: update cell net type LTE");
    syslog(LOG_DEBUG, "Parsing 5G-NSA:%s", "\"NR5G-NSA\",001,01,65,-96,15,-11,640000,78,12,1");
    transaction cell(0);
    for (const char *key : {"CELL_BAND",      "CELL_CHANNEL",   "CELL_CID",       "CELL_EARFCN",   "CELL_LTE_BAND",
                            "CELL_LTE_RSRP",  "CELL_LTE_RSRQ",  "CELL_LTE_RSSI",  "CELL_LTE_SQI",  "CELL_NET_TYPE_INT",
                            "CELL_NR5G_BAND", "CELL_NR5G_RSRP", "CELL_NR5G_RSRQ", "CELL_NR5G_SQI", "CELL_PCID",
                            "CELL_RSRP",      "CELL_RSRQ",      "CELL_RSSI",      "CELL_SQI",      "CELL_TAC"}) {
        cell.put_int(key, -96);
    }
    for (const char *key : {"CELL_LTE_SINR", "CELL_NR5G_SINR", "CELL_SINR"}) {
        cell.put_real(key, 15.0);
    }
    for (const char *key : {"CELL_CHAN_BW_DL", "CELL_CHAN_BW_UL", "CELL_MCC", "CELL_MNC", "CELL_NET_TYPE"}) {
        cell.put_text(key, "20");
    }
}

void ask_subscriber() {
    syslog(LOG_INFO, "Getting carrier name");
    exchange("at+cops?\r");
    transaction(0).put_text("CELL_CARRIER", "Example");
    syslog(LOG_INFO, "Getting IMSI");
    exchange("at+cimi\r");
    transaction(0).put_text("CELL_IMSI", "001010123456789");
    syslog(LOG_INFO, "Getting MDN");
    exchange("at+cnum\r");
    transaction(0).put_text("CELL_MDN", "+15550100");
}

std::string with_number(const char *name, int number) {
    return name + std::to_string(number);
}

void ask_carriers() {
    constexpr int CARRIERS = 6;
    syslog(LOG_INFO, "Getting carrier aggregation");
    const std::string answer = exchange("at+qcainfo\r");
    syslog(LOG_DEBUG, "QCAINFO:%s", answer.c_str());
    for (int number = 2; number <= CARRIERS; ++number) {
        transaction gone(0);
        for (const char *name : {"CELL_CHAN_BW_DL_SCC_", "CELL_CHANNEL_SCC_", "CELL_BAND_SCC_", "CELL_RSRP_SCC_",
                                 "CELL_RSRQ_SCC_", "CELL_RSSI_SCC_", "CELL_SINR_SCC_"}) {
            gone.remove(with_number(name, number));
        }
    }
    syslog(LOG_DEBUG, "Found SCC 1:%s", "+QCAINFO: \"SCC\",6300,50,\"LTE BAND 20\",1,101,-101,-12,-72,8,0,-,-");
    transaction carrier(0);
    for (const char *key :
         {"CELL_CHANNEL_SCC_1", "CELL_BAND_SCC_1", "CELL_RSRP_SCC_1", "CELL_RSRQ_SCC_1", "CELL_RSSI_SCC_1"}) {
        carrier.put_int(key, -101);
    }
    carrier.put_text("CELL_CHAN_BW_DL_SCC_1", "10");
    carrier.put_real("CELL_SINR_SCC_1", 8.0);
}

void summarise() {
    std::size_t bytes = 0;
    {
        const transaction cell(MDB_RDONLY);
        for (const char *key : {"CELL_MODEL",      "CELL_SQI",
                                "CELL_RSSI",       "CELL_RSCP",
                                "CELL_RSRP",       "CELL_RSRQ",
                                "CELL_ECIO",       "CELL_SINR",
                                "CELL_CHANNEL",    "CELL_BAND",
                                "CELL_CHAN_BW_DL", "CELL_NET_TYPE",
                                "CELL_ROAMING",    "CELL_CID",
                                "CELL_TAC",        "CELL_LAC",
                                "CELL_MCC",        "CELL_MNC",
                                "CELL_RSSI_SCC_1", "CELL_RSRP_SCC_1",
                                "CELL_BAND_SCC_1", "CELL_CHAN_BW_DL_SCC_1",
                                "CELL_ICCID",      "CELL_SIM_SEL"}) {
            bytes += cell.get(key);
        }
    }
    bytes += transaction(MDB_RDONLY, "GPIO").get("GPIO_TEMP");
    // As long as the daemon's line in this scenario, whatever was read.
    constexpr std::size_t LINE_BYTES = 262;
    transaction(0).put_text("CELL_RSSIMON", std::string(LINE_BYTES + bytes * 0, 'x'));
}

void look_at_link() {
    const int fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    ifreq request = {};
    std::strncpy(request.ifr_name, "wwan0", IFNAMSIZ - 1);
    const int result = ioctl(fd, SIOCGIFADDR, &request);
    close(fd);
    syslog(LOG_DEBUG, "Check connection (ip:):%d", result == 0 ? 1 : 0);
    transaction(0).put_int("CELL_CONNECTED", 0);
    const int file = open("/tmp/cell_last_connect_changed_time", O_RDONLY | O_CLOEXEC);
    std::array<char, 64> time = {};
    [[maybe_unused]] const ssize_t size = read(file, time.data(), time.size());
    close(file);
}

// Whether this file, by which people speak to the daemon, is there. The floor does not listen.
void look_for(const char *marker) {
    [[maybe_unused]] const int result = access(marker, F_OK);
}

void cycle(bool with_subscriber, bool with_health) {
    look_for("/tmp/zstats.running");
    look_for("/tmp/zstats.clear");
    syslog(LOG_INFO, "Performing AT queries");
    look_for(PORT);
    ask_registration();
    ask_serving_cell();
    if (with_subscriber) {
        ask_subscriber();
    }
    ask_carriers();
    summarise();
    look_for("/tmp/new_connection");
    look_at_link();
    if (with_health) {
        exchange("at+cfun?\r");
    }
    syslog(LOG_DEBUG, "ATRES:1,IP:0,IPV4:,MASK:,BCAST:,SLEEP:4");
}

}  // namespace

int main() {
    constexpr unsigned int HEALTH_CYCLES = 20;
    constexpr unsigned int SLEEP_SECONDS = 4;
    openlog("cell", 0, LOG_LOCAL0);
    open_database();
    for (unsigned int number = 1;; ++number) {
        cycle(number % 2 == 1, number % HEALTH_CYCLES == 0);
        sleep(SLEEP_SECONDS);
    }
}
