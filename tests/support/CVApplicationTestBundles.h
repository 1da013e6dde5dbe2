#pragma once

#include <memory>
#include <string>
#include <vector>

#include "CVTestProcess.h"
#include "CVWaitUntil.h"
#include "TemporaryFolder.h"

// For the tests of finding and launching the application: the whole test program runs with its
// own XDG folders (nothing touches the real user's) and its own private session bus.

// The folders the test program was given: $XDG_DATA_HOME, and one $XDG_DATA_DIRS folder.
std::string testDataHome();
std::string testDataDirectory();

// Starts the program with this process's environment changed, its output going into the folder;
// returns once it has executed the program. The process is killed when the result goes away.
std::unique_ptr<CVTestProcess> startProgram(const TemporaryFolder& folder,
                                            const std::string& program,
                                            const std::vector<std::string>& arguments,
                                            const CVEnvironmentChanges& changes = {});
