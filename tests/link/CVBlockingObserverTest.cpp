#include "link/CVBlockingObserver.h"

#include <gtest/gtest.h>

#include <chrono>
#include <thread>

#include "CVPrivateSessionBus.h"

TEST(ABlockingObserver, ReturnsTrueAtOnceWhenStoppedBeforeTheWaitBegins) {
    CVBlockingObserver observer(100000.0);
    observer.stopRunLoop();

    EXPECT_TRUE(observer.runRunLoopUntilNotificationsReceived());
}

TEST(ABlockingObserver, AnswersTrueForAnEarlyStopEvenWhenACancelReasonIsSet) {
    CVBlockingObserver observer(100000.0);
    observer.cancelRunLoopWithReason("gone");

    EXPECT_TRUE(observer.runRunLoopUntilNotificationsReceived());
    EXPECT_EQ(observer.cancelReason(), "gone");
}

TEST(ABlockingObserver, TimesOutWithTheTimeOutText) {
    CVBlockingObserver observer(0.05);

    EXPECT_FALSE(observer.runRunLoopUntilNotificationsReceived());
    EXPECT_TRUE(observer.isCancelled());
    EXPECT_EQ(observer.cancelReason(), "Timed out waiting for a response.");
}

TEST(ABlockingObserver, SleepsInEpollUntilAnotherThreadStopsIt) {
    CVBlockingObserver observer(100000.0);
    pid_t waitingThread = CVCurrentThreadIdentifier();
    bool sawSleep = false;
    std::thread stopper([&] {
        sawSleep = CVWaitUntilThreadSleepsInEpoll(waitingThread);
        observer.stopRunLoop();
    });

    bool received = observer.runRunLoopUntilNotificationsReceived();
    stopper.join();

    EXPECT_TRUE(sawSleep);
    EXPECT_TRUE(received);
    EXPECT_FALSE(observer.isCancelled());
}

TEST(ABlockingObserver, ReportsACancelFromAnotherThread) {
    CVBlockingObserver observer(100000.0);
    pid_t waitingThread = CVCurrentThreadIdentifier();
    std::thread canceller([&] {
        CVWaitUntilThreadSleepsInEpoll(waitingThread);
        observer.cancelRunLoopWithReason("Corvane quit while the action was running.");
    });

    bool received = observer.runRunLoopUntilNotificationsReceived();
    canceller.join();

    EXPECT_FALSE(received);
    EXPECT_EQ(observer.cancelReason(), "Corvane quit while the action was running.");
}
