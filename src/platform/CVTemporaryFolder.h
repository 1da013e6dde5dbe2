#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/CVError.h"

// A new private folder (mode 0700) in the temporary directory, for one file that replaces or
// captures another. Nothing, with the error, when it cannot be made. The process owns the folder
// until it is removed or handed over: see CVRemoveOwnedReplacementDirectories.
std::optional<std::string> CVMakeItemReplacementDirectory(std::optional<CVError>* error = nullptr);

// Removes a file and, when it is then empty, the private folder that held it. Errors are ignored.
void CVRemoveItemAndItsReplacementDirectory(const std::string& path);

// Hands the private folders this process still owns over to whoever now holds their files (the
// application), except the folders holding `keptPaths`: those stay the process's to remove.
void CVHandOverReplacementDirectories(const std::vector<std::string>& keptPaths);

// Removes every private folder the process still owns, with what it holds. Async-signal-safe: it
// makes only system calls, so an interruption handler may call it.
void CVRemoveOwnedReplacementDirectories();

// On SIGINT, SIGHUP and SIGTERM, removes the owned folders and then ends the process by the same
// signal, so that the caller sees the conventional status.
void CVRemoveOwnedReplacementDirectoriesOnInterruption();

// A 32-bit number from the kernel's random source.
uint32_t CVRandom32();
