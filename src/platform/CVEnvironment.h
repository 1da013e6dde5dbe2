#pragma once

#include <cstdlib>
#include <optional>
#include <string>

// The value of an environment variable of this process; nothing when it is unset or empty.
inline std::optional<std::string> CVEnvironmentValue(const char* name) {
    const char* value = getenv(name);
    if (value == nullptr || *value == '\0') {
        return std::nullopt;
    }
    return std::string(value);
}
