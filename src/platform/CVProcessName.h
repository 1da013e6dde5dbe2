#pragma once

#include <string>

// The name under which this process runs: the file name of the program it was started as.
const std::string& CVProcessName();
