#pragma once

#include <optional>
#include <string>

// The whole content of a file, read to its end; nothing (and errno's value in errorCode, when
// given) when it cannot be opened or read.
std::optional<std::string> CVReadWholeFile(const std::string& path, int* errorCode = nullptr);
// The same for a path relative to an open folder (openat).
std::optional<std::string> CVReadWholeFileAt(int folder, const std::string& path,
                                             int* errorCode = nullptr);
// What is left to read from an open descriptor, read to its end; the descriptor stays open.
std::optional<std::string> CVReadToEnd(int descriptor, int* errorCode = nullptr);
