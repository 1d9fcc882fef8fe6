// What the serving-cell line of the older technologies lacks is asked for in an exchange of its own. Both operations
// open and close their own port session and block for one exchange (at_exchange.h), write nothing on failure, and catch
// and log their own exceptions.
#pragma once

// Writes CELL_BAND from the digits of the band's name: "WCDMA 850" is 850.
void get_band_for_wcdma();

// Writes CELL_RSSI in dBm (-999 when the module does not know it) and CELL_SQI.
void get_rssi_for_gsm();
