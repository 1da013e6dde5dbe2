#pragma once

#include <string_view>

// The system log: one line on standard error, prefixed with the local time to the millisecond,
// the process name and its id, e.g. "2026-11-22 10:04:05.123 cvdiff[4242] message".
void CVSystemLog(std::string_view message);
