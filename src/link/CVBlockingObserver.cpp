#include "link/CVBlockingObserver.h"

#include "platform/CVException.h"
#include "platform/CVRunLoop.h"

CVBlockingObserver::CVBlockingObserver(double maximumDuration)
    : runDuration_(maximumDuration), thread_(CVRunLoop::current()) {}

CVBlockingObserver::~CVBlockingObserver() = default;

bool CVBlockingObserver::runRunLoopUntilNotificationsReceived() {
    if (stopRunning_) {
        return true;
    }
    switch (thread_->run(runDuration_, [this] { return stopRunning_.load(); })) {
        case CVRunLoop::RunResult::TimedOut:
            setCancelReason(kTimedOutReason);
            break;
        case CVRunLoop::RunResult::BusClosed:
            throw CVException(CVException::kInvalidReceivePortException,
                              "The connection to the session bus was lost while waiting.");
        case CVRunLoop::RunResult::Failed:
            throw CVException(CVException::kInvalidReceivePortException,
                              "The run loop could not wait for the application.");
        case CVRunLoop::RunResult::Stopped:
            break;
    }
    return !isCancelled();
}

void CVBlockingObserver::stopRunLoop() {
    stopRunning_ = true;
    // The waiting thread sees the flag as soon as its loop wakes up.
    thread_->wakeUp();
}

void CVBlockingObserver::cancelRunLoopWithReason(const std::string& reason) {
    setCancelReason(reason);
    stopRunLoop();
}

bool CVBlockingObserver::isCancelled() const {
    return cancelReason().has_value();
}

std::optional<std::string> CVBlockingObserver::cancelReason() const {
    std::lock_guard lock(cancelReasonMutex_);
    return cancelReason_;
}

void CVBlockingObserver::setCancelReason(std::optional<std::string> reason) {
    std::lock_guard lock(cancelReasonMutex_);
    cancelReason_ = std::move(reason);
}
