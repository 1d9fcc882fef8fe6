// The one place that turns an escaped exception into a log line.
#pragma once

#include <exception>

// Logs "exception %s in %s" at LOG_ALERT. An operation that must not throw is a function-try-block:
//     void operation()
//     try { ... } catch (const std::exception &e) { log_exception(e, __func__); }
void log_exception(const std::exception &e, const char *operation);
