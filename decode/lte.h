// The LTE decoder, which serves LTE-M ("CAT-M") too. Text in, cell statistics out; no module. Catches and logs its own
// exceptions, with the column at which a line broke off.
#pragma once

// `line` begins at the quoted tag, "LTE" or "CAT-M"; is_lte says which it was. Every value is written under its generic
// key and most under an LTE key beside it.
void parse_lte_catm(const char *line, bool is_lte);
