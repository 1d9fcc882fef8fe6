// The serving-cell query and its dispatch: each tagged part of the answer goes to the decoder of its technology. The
// port is closed before anything is decoded. The two queries block for one exchange (at_exchange.h), the dispatch only
// where a technology has a follow-up query. Each operation catches and logs its own exceptions.
#pragma once

// 5G modules (RM5xx): several lines, one per active radio. The NR values are withdrawn in each completed exchange, so
// that they never outlive the NR connection. Does nothing at all when the port cannot be opened.
void parse_rm5XX_stats();

// All other modules: one line.
void parse_4g_module_stats();

// Decodes the first "LTE", "NR5G-NSA" and "NR5G-SA" line of an answer in the order of its lines. Splits it in place.
void parse_servingcell_en_dc_mode(char *response);

// Decodes the first tag found among "LTE", "CAT-M", "WCDMA" and "GSM", in this order of preference; the last two with
// their follow-up query.
void parse_servingcell_none_5g_mode(const char *response);
