#include "decode/signal_quality.h"

#include <algorithm>

#include "base/target_arithmetic.h"

int rsrp_to_sqi(long rsrp) {
    const std::int64_t thousandths = (std::int64_t{clamp_int32(rsrp)} + 133) * 1587;
    if (thousandths <= -1000) {
        return 0;
    }
    if (thousandths > 100999) {
        return 100;
    }
    return static_cast<int>(thousandths / 1000);
}

int rscp_to_sqi(std::int32_t rscp) {
    return static_cast<int>(std::clamp<std::int64_t>(2 * (std::int64_t{rscp} + 120), 0, 100));
}

int gsm_rssi_to_sqi(std::int32_t rssi) {
    const std::int64_t tenths = (std::int64_t{rssi} + 105) * 25;
    if (tenths < -9) {
        return 0;
    }
    if (tenths > 1009) {
        return 100;
    }
    return static_cast<int>(tenths / 10);
}

std::string rsrp_field_to_sqi(const char *field) {
    return std::to_string(rsrp_to_sqi(leading_int32(field)));
}

std::string rscp_field_to_sqi(const char *field) {
    return std::to_string(rscp_to_sqi(leading_int32(field)));
}
