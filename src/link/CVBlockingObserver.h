#pragma once

#include <atomic>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

class CVRunLoop;

// Blocks the thread that made it in its run loop until a stop is requested, from any thread, or
// a maximum duration passes. Waiting costs no CPU: the thread sleeps until an event arrives.
class CVBlockingObserver {
public:
    static constexpr const char* kTimedOutReason = "Timed out waiting for a response.";

    // Records the calling thread's run loop: the wait runs there and stops are delivered there.
    explicit CVBlockingObserver(double maximumDuration);
    CVBlockingObserver(const CVBlockingObserver&) = delete;
    CVBlockingObserver& operator=(const CVBlockingObserver&) = delete;
    virtual ~CVBlockingObserver();

    // Runs the run loop until stopped or `runDuration` seconds pass (then the cancel reason is
    // "Timed out waiting for a response."). Returns at once when a stop was requested before the
    // call. Answers true when the wait was not cancelled. Throws CVException (a port exception)
    // when the bus connection breaks during the wait.
    virtual bool runRunLoopUntilNotificationsReceived();

    // Ends the wait, now or, when it has not begun, as soon as it begins. Safe from any thread.
    void stopRunLoop();
    // Records the reason, then stops. Safe from any thread.
    void cancelRunLoopWithReason(const std::string& reason);

    bool stopRunning() const { return stopRunning_.load(); }
    bool isCancelled() const;
    std::optional<std::string> cancelReason() const;
    void setCancelReason(std::optional<std::string> reason);
    double runDuration() const { return runDuration_; }
    void setRunDuration(double duration) { runDuration_ = duration; }

protected:
    CVRunLoop& runLoop() const { return *thread_; }

private:
    std::atomic<bool> stopRunning_{false};
    mutable std::mutex cancelReasonMutex_;
    std::optional<std::string> cancelReason_;
    double runDuration_;
    // The creating thread's run loop; kept alive so that a late stop from another thread is safe.
    std::shared_ptr<CVRunLoop> thread_;
};
