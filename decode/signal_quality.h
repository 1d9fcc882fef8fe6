// Signal strength to the signal quality index, 0 (no signal worth having) to 100. Pure arithmetic; no input overflows.
#pragma once

#include <cstdint>
#include <string>

// LTE and NR, from RSRP in dBm: 0 up to -133, 1.587 per dB, 100 from -69.
int rsrp_to_sqi(long rsrp);

// WCDMA, from RSCP in dBm: 0 up to -120, 2 per dB, 100 from -70.
int rscp_to_sqi(std::int32_t rscp);

// GSM, from RSSI in dBm: 0 up to -105, 2.5 per dB, 100 from -65.
int gsm_rssi_to_sqi(std::int32_t rssi);

// The same from a wire column. A field that is no number counts as 0 dBm and therefore gives 100.
std::string rsrp_field_to_sqi(const char *field);
std::string rscp_field_to_sqi(const char *field);
