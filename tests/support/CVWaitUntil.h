#pragma once

#include <poll.h>

#include <chrono>
#include <functional>

// Checks the condition every two milliseconds until it holds (true) or the deadline passes
// (false).
inline bool CVWaitUntil(const std::function<bool()>& condition,
                        std::chrono::milliseconds deadline = std::chrono::seconds(10)) {
    auto end = std::chrono::steady_clock::now() + deadline;
    while (!condition()) {
        if (std::chrono::steady_clock::now() >= end) {
            return false;
        }
        poll(nullptr, 0, 2);
    }
    return true;
}
