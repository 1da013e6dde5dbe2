#include "link/CVBlockingObserver.h"

#include <gtest/gtest.h>

#include <chrono>
#include <thread>

#include "CVPrivateSessionBus.h"

TEST(ABlockingObserver, AnswersTrueAtOnceWhenStoppedOrCancelledBeforeTheWaitElseTimesOut) {
    CVBlockingObserver stopped(100000.0);
    stopped.stopRunLoop();
    EXPECT_TRUE(stopped.runRunLoopUntilNotificationsReceived());
    CVBlockingObserver cancelled(100000.0);
    cancelled.cancelRunLoopWithReason("gone");
    EXPECT_TRUE(cancelled.runRunLoopUntilNotificationsReceived());
    EXPECT_EQ(cancelled.cancelReason(), "gone");
    CVBlockingObserver waiting(0.05);
    EXPECT_FALSE(waiting.runRunLoopUntilNotificationsReceived());
    EXPECT_TRUE(waiting.isCancelled());
    EXPECT_EQ(waiting.cancelReason(), "Timed out waiting for a response.");
}

TEST(ABlockingObserver, SleepsInEpollUntilAnotherThreadStopsOrCancelsIt) {
    for (bool cancel : {false, true}) {
        CVBlockingObserver observer(100000.0);
        pid_t waitingThread = CVCurrentThreadIdentifier();
        bool sawSleep = false;
        std::thread other([&] {
            sawSleep = CVWaitUntilThreadSleepsInEpoll(waitingThread);
            if (cancel) {
                observer.cancelRunLoopWithReason("Corvane quit while the action was running.");
            } else {
                observer.stopRunLoop();
            }
        });

        bool received = observer.runRunLoopUntilNotificationsReceived();
        other.join();

        EXPECT_TRUE(sawSleep);
        EXPECT_EQ(received, !cancel);
        EXPECT_EQ(observer.isCancelled(), cancel);
        if (cancel) {
            EXPECT_EQ(observer.cancelReason(), "Corvane quit while the action was running.");
        }
    }
}
