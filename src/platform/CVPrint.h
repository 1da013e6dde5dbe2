#pragma once

#include <cstdio>
#include <string>
#include <string_view>

// Writes the text to the stream as it is; no newline is added.
void CVPrint(FILE* stream, std::string_view text);

// A string as descriptions and the debug log show it: bare when it holds only plain characters,
// else in double quotes with quotes, backslashes and control characters escaped, so that one
// value can never pass for two.
std::string CVDescriptionOfString(std::string_view text);

// Flushes standard output and reports whether everything written to it, and to standard error,
// got there: 0, or the error number of the first failure (a full disk, a closed pipe).
int CVFinishStandardStreams();

// True while the boolean default "debug-logging" of the tool's own domain is set. The store is
// consulted on every call, so a change made while the tool runs takes effect at once.
bool CVDebugLoggingEnabled();

// Writes the message to the system log while debug logging is enabled; otherwise does nothing.
void CVDebugLog(std::string_view message);

// The same, building the message only when it will be written.
template <typename MakeMessage>
requires requires(MakeMessage make) {
    make();
}
void CVDebugLog(MakeMessage&& makeMessage) {
    if (CVDebugLoggingEnabled()) {
        CVDebugLog(std::string_view(makeMessage()));
    }
}
