#include "platform/module_access.h"

#include <cstdio>
#include <cstring>

#include "tests/device/libraries/journal.h"

module_model get_module_model_from_config_string(const char *name) {
    return std::strcmp(name, "EC25") == 0 ? MODULE_EC25 : MODULE_UNKNOWN;
}

// In the signal handler: nothing may be told.
void stop_libzelt_funcs() {}

int ser_open(const char *device) {
    tell("module open %s", device);
    return 0;
}

void ser_close(int) {
    tell("module close");
}

unsigned int ser_write_and_wait_for_txt_get_line(int, const char *command, const std::string *, unsigned int,
                                                 char *buffer, unsigned int size, unsigned int, unsigned int) {
    tell("module %.*s", static_cast<int>(std::strlen(command)) - 1, command);
    std::snprintf(buffer, size, "%s",
                  R"(+QENG: "servingcell","CONN","LTE","FDD",001,01,1A2D001,123,300,1,4,4,7B0C,-95,-11,-65,12,30)");
    return SER_LINE_FOUND;
}

unsigned int ser_write_and_get_all_response_until_searchtxt(int, const char *command, const std::string *, unsigned int,
                                                            char *buffer, unsigned int size, unsigned int,
                                                            unsigned int) {
    tell("module %.*s", static_cast<int>(std::strlen(command)) - 1, command);
    std::snprintf(buffer, size, "\r\n+QCAINFO: \"SCC\",1300,100,\"LTE BAND 3\",1,2,-99,-12,-66,5\r\n\r\nOK\r\n");
    return SER_ANSWER_COMPLETE_MAX;
}

int zelt_at_cmd_get_registration_and_roaming(int, bool *registered, bool *roaming) {
    *registered = true;
    *roaming = false;
    return 0;
}

int zelt_at_cmd_get_carrier_name(int, char *buffer, unsigned int size) {
    return std::snprintf(buffer, size, "Test Network");
}

int zelt_at_cmd_get_imsi(int, char *buffer, unsigned int size) {
    return std::snprintf(buffer, size, "001010123456789");
}

int zelt_at_cmd_get_mdn(int, char *, unsigned int) {
    return 0;
}

int zelt_at_cmd_get_cfun(int, char *, unsigned int) {
    return 0;
}

int zelt_at_cmd_restore_factory_settings(int) {
    return 0;
}

int run_qmicli_and_get_result(const char *, char *, int) {
    return -1;
}
