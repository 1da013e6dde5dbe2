#pragma once

#include <cstdlib>
#include <optional>
#include <string>

// Sets an environment variable of this process for its lifetime, then restores it.
class ScopedVariable {
public:
    ScopedVariable(std::string name, const std::string& value) : name_(std::move(name)) {
        if (const char* previous = getenv(name_.c_str())) {
            previous_ = previous;
        }
        setenv(name_.c_str(), value.c_str(), 1);
    }
    ~ScopedVariable() {
        previous_ ? setenv(name_.c_str(), previous_->c_str(), 1) : unsetenv(name_.c_str());
    }
    ScopedVariable(const ScopedVariable&) = delete;
    ScopedVariable& operator=(const ScopedVariable&) = delete;

private:
    std::string name_;
    std::optional<std::string> previous_;
};
