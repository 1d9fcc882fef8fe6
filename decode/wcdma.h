// The WCDMA decoder. Text in, cell statistics out; no module. The band is not in the line: see follow_up_queries.h.
// Catches and logs its own exceptions.
#pragma once

// `line` begins at the quoted tag "WCDMA".
void parse_wcdma(const char *line);
