#include "platform/CVRunLoop.h"

#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdint>
#include <limits>
#include <thread>

namespace {

uint64_t monotonicNow() {
    struct timespec now {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<uint64_t>(now.tv_sec) * 1000000u +
           static_cast<uint64_t>(now.tv_nsec) / 1000u;
}

// Seconds as microseconds, saturating: the longest waits are meant as "no limit".
uint64_t microseconds(double seconds) {
    constexpr uint64_t kNoLimit = std::numeric_limits<uint64_t>::max() / 2;
    if (!(seconds > 0)) {
        return 0;
    }
    double value = seconds * 1e6;
    if (value >= static_cast<double>(kNoLimit)) {
        return kNoLimit;
    }
    // Rounded to the nearest microsecond without libm, which the tool would load for this alone.
    auto rounded = std::chrono::round<std::chrono::microseconds>(
        std::chrono::duration<double, std::micro>(value));
    return static_cast<uint64_t>(rounded.count());
}

}  // namespace

std::shared_ptr<CVRunLoop> CVRunLoop::current() {
    thread_local std::shared_ptr<CVRunLoop> runLoop(new CVRunLoop());
    return runLoop;
}

CVRunLoop::CVRunLoop() {
    if (sd_event_default(event_.out()) < 0) {
        return;
    }
    wakeUpDescriptor_ = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (wakeUpDescriptor_ >= 0) {
        sd_event_add_io(event_, wakeUpSource_.out(), wakeUpDescriptor_, EPOLLIN, wakeUpReceived,
                        this);
    }
}

CVRunLoop::~CVRunLoop() {
    if (bus_ != nullptr) {
        sd_bus_detach_event(bus_);
    }
    bus_.reset();
    wakeUpSource_.reset();
    if (wakeUpDescriptor_ >= 0) {
        close(wakeUpDescriptor_);
    }
}

int CVRunLoop::attachBus(sd_bus* bus) {
    if (bus == bus_) {
        return 0;
    }
    if (event_ == nullptr || bus_ != nullptr) {
        return -EBUSY;
    }
    int result = sd_bus_attach_event(bus, event_, SD_EVENT_PRIORITY_NORMAL);
    if (result >= 0) {
        bus_.reset(sd_bus_ref(bus));
    }
    return result;
}

void CVRunLoop::wakeUp() {
    // The loop's own thread is in a handler or between runs: it checks the stop condition before
    // it sleeps again, with no need of a wake-up.
    if (std::this_thread::get_id() != thread_ && wakeUpDescriptor_ >= 0) {
        eventfd_write(wakeUpDescriptor_, 1);
    }
}

int CVRunLoop::wakeUpReceived(sd_event_source*, int descriptor, uint32_t, void*) {
    eventfd_t count = 0;
    eventfd_read(descriptor, &count);
    return 0;
}

CVRunLoop::RunResult CVRunLoop::run(double seconds, const std::function<bool()>& shouldStop) {
    if (event_ == nullptr) {
        return RunResult::Failed;
    }
    const uint64_t deadline = monotonicNow() + microseconds(seconds);
    if (bus_ != nullptr) {
        // A synchronous call leaves the messages that arrived meanwhile in the bus's read queue,
        // where no descriptor event announces them.
        for (;;) {
            if (shouldStop()) {
                return RunResult::Stopped;
            }
            int processed = sd_bus_process(bus_, nullptr);
            if (processed < 0) {
                return RunResult::BusClosed;
            }
            if (processed == 0) {
                break;
            }
        }
    }
    for (;;) {
        if (shouldStop()) {
            return RunResult::Stopped;
        }
        if (bus_ != nullptr && sd_bus_is_open(bus_) <= 0) {
            return RunResult::BusClosed;
        }
        uint64_t now = monotonicNow();
        if (now >= deadline) {
            return RunResult::TimedOut;
        }
        if (sd_event_run(event_, deadline - now) < 0) {
            return RunResult::Failed;
        }
    }
}

CVRunLoopTimer::CVRunLoopTimer(CVRunLoop& runLoop, double interval, std::function<void()> fire)
    : intervalMicroseconds_(microseconds(interval)), fire_(std::move(fire)) {
    if (runLoop.event() == nullptr) {
        return;
    }
    // An accuracy of one millisecond: sd-event's default would let a firing slip by 250 ms.
    sd_event_add_time(runLoop.event(), source_.out(), CLOCK_MONOTONIC, monotonicNow(), 1000, fired,
                      this);
}

int CVRunLoopTimer::fired(sd_event_source* source, uint64_t, void* userdata) {
    auto* timer = static_cast<CVRunLoopTimer*>(userdata);
    sd_event_source_set_time(source, monotonicNow() + timer->intervalMicroseconds_);
    sd_event_source_set_enabled(source, SD_EVENT_ONESHOT);
    timer->fire_();
    return 0;
}
