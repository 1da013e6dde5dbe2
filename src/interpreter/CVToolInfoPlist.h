#pragma once

#include <string_view>

// The XML text of the tool's own Info.plist, as compiled into the executable.
std::string_view embeddedInfoPlist();
