// The GSM decoder. Text in, cell statistics out; no module. Signal strength and quality are not in the line: see
// follow_up_queries.h. Catches and logs its own exceptions.
#pragma once

// `line` begins at the quoted tag "GSM".
void parse_gsm(const char *line);
