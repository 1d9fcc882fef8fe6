// The 5G NR decoders: non-standalone (the NR leg beside an LTE anchor) and standalone. Text in, cell statistics out; no
// module. Both catch and log their own exceptions.
#pragma once

// `line` begins at the quoted tag "NR5G-NSA". Writes nothing when the line says that the NR leg is not attached.
void parse_5g_nsa(const char *line);

// `line` begins at the quoted tag "NR5G-SA".
void parse_5g_sa(const char *line);
