// What a module did not report: a number, and its text. Published as it stands.
#pragma once

inline constexpr int NOT_REPORTED = -999;
inline constexpr const char *NOT_REPORTED_TEXT = "-999";
