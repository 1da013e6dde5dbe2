#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "platform/CVError.h"

// A new private folder (mode 0700) in the temporary directory, for one file that replaces or
// captures another. Nothing, with the error, when it cannot be made.
std::optional<std::string> CVMakeItemReplacementDirectory(std::optional<CVError>* error = nullptr);

// Removes a file and, when it is then empty, the private folder that held it. Errors are ignored.
void CVRemoveItemAndItsReplacementDirectory(const std::string& path);

// A 32-bit number from the kernel's random source.
uint32_t CVRandom32();
