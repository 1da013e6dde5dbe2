#pragma once

#include <systemd/sd-bus.h>
#include <systemd/sd-event.h>

#include <functional>
#include <memory>
#include <thread>

#include "platform/CVBusObject.h"

// A thread's run loop: the thread's default sd-event loop with a wake-up descriptor, so that other
// threads can make a run re-check whether it should end. Everything but wakeUp() is used only on
// the loop's own thread; between events a run sleeps in epoll.
class CVRunLoop {
public:
    enum class RunResult {
        Stopped,    // the stop condition answered true
        TimedOut,   // the duration elapsed first
        BusClosed,  // the attached bus connection broke
        Failed,     // sd-event refused to run (for example a run nested in a handler)
    };

    // The calling thread's run loop, made on first use and kept for the life of the thread.
    static std::shared_ptr<CVRunLoop> current();

    CVRunLoop(const CVRunLoop&) = delete;
    CVRunLoop& operator=(const CVRunLoop&) = delete;
    ~CVRunLoop();

    sd_event* event() const { return event_; }

    // Dispatches the bus's messages during runs of this loop. Attaching the bus that is already
    // attached does nothing. Returns 0 or a negative errno.
    int attachBus(sd_bus* bus);

    // Makes a current or the next run of this loop check its stop condition. Safe from any thread.
    void wakeUp();

    // Runs until `shouldStop` answers true (asked before every sleep and after every event), the
    // attached bus closes, or `seconds` pass. Messages already queued on the attached bus (for
    // example while a method call waited for its reply) are dispatched first.
    RunResult run(double seconds, const std::function<bool()>& shouldStop);

private:
    CVRunLoop();
    static int wakeUpReceived(sd_event_source* source, int descriptor, uint32_t events,
                              void* userdata);

    CVBusObject<sd_event> event_;
    int wakeUpDescriptor_ = -1;
    CVBusObject<sd_event_source> wakeUpSource_;
    CVBusObject<sd_bus> bus_;
    std::thread::id thread_ = std::this_thread::get_id();
};

// A repeating timer on a run loop, firing first as soon as the loop runs and then every interval
// while it runs. Removed when destroyed; used only on the loop's thread.
class CVRunLoopTimer {
public:
    CVRunLoopTimer(CVRunLoop& runLoop, double interval, std::function<void()> fire);
    CVRunLoopTimer(const CVRunLoopTimer&) = delete;
    CVRunLoopTimer& operator=(const CVRunLoopTimer&) = delete;

private:
    static int fired(sd_event_source* source, uint64_t usec, void* userdata);

    uint64_t intervalMicroseconds_;
    std::function<void()> fire_;
    CVBusObject<sd_event_source> source_;
};
