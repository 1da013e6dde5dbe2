#pragma once

#include <stdexcept>
#include <string>

// A platform exception: the design's only exceptions are the broken connection to the
// application and the deliberate crash. Caught once, in main.
class CVException : public std::runtime_error {
public:
    static constexpr const char* kInvalidReceivePortException = "NSInvalidReceivePortException";
    static constexpr const char* kInvalidSendPortException = "NSInvalidSendPortException";
    static constexpr const char* kInvalidArgumentException = "NSInvalidArgumentException";

    CVException(std::string name, std::string reason)
        : std::runtime_error(reason), name_(std::move(name)) {}

    const std::string& name() const { return name_; }
    const char* reason() const { return what(); }
    // The exception's description, as the last-resort message shows it: its reason.
    std::string description() const { return what(); }

private:
    std::string name_;
};
