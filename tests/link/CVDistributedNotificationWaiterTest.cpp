#include "link/CVDistributedNotificationWaiter.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <thread>

#include "CVPrivateSessionBus.h"
#include "link/CVDistributedNotificationCenter.h"
#include "platform/CVException.h"
#include "platform/CVSessionBus.h"

using UserInfo = CVDistributedNotificationCenter::UserInfo;

namespace {

constexpr const char* kClose = "CVCloseTabNotification";

// A call to the daemon and its reply: whatever the connection sent before has been routed.
void roundTrip(sd_bus* bus) {
    ASSERT_GE(sd_bus_call_method(bus, "org.freedesktop.DBus", "/org/freedesktop/DBus",
                                 "org.freedesktop.DBus", "GetId", nullptr, nullptr, ""),
              0);
}

// Plays the application: posts notifications from a connection of its own.
class ADistributedNotificationWaiter : public testing::Test {
public:
    ADistributedNotificationWaiter()
        : application_(CVPrivateSessionBus::shared().openConnection()) {
        // Notifications count only from the owner of the application's name.
        EXPECT_GE(sd_bus_request_name(application_, "com.corvane.Corvane", 0), 0);
    }
    ~ADistributedNotificationWaiter() override { sd_bus_flush(application_); }
    ADistributedNotificationWaiter(const ADistributedNotificationWaiter&) = delete;
    ADistributedNotificationWaiter& operator=(const ADistributedNotificationWaiter&) = delete;

protected:
    void post(const char* name, const std::optional<std::string>& object,
              const UserInfo& userInfo = {}) {
        ASSERT_GE(
            CVDistributedNotificationCenter::postNotification(application_, name, object, userInfo),
            0);
        ASSERT_GE(sd_bus_flush(application_), 0);
    }

    CVBusObject<sd_bus> application_;
};

}  // namespace

TEST_F(ADistributedNotificationWaiter, EndsOnlyOnTheApplicationsNotificationOfItsNameAndDocument) {
    // The document is given at construction, or set later as the tool does once it is known;
    // without one, any document ends the wait. Each case's waiter is gone before the next posts,
    // so that an observer it failed to remove would be called on a destroyed waiter.
    CVBusObject<sd_bus> impostor = CVPrivateSessionBus::shared().openConnection();
    enum class Document { atConstruction, setLater, none };
    for (Document document : {Document::atConstruction, Document::setLater, Document::none}) {
        CVDistributedNotificationWaiter waiter(
            10.0, 0, kClose,
            document == Document::atConstruction ? std::optional("document-1") : std::nullopt);
        if (document == Document::setLater) {
            waiter.setNotificationObject("document-1");
        }
        ASSERT_GE(CVDistributedNotificationCenter::postNotification(impostor, kClose, "document-1",
                                                                    {{"which", "impostor"}}),
                  0);
        roundTrip(impostor);  // the impostor's notification is routed before the others
        post("CVMergeFinishedByResolvingNotification", "document-1", {{"which", "merge"}});
        post(kClose, "document-2", {{"which", "other"}});
        if (document != Document::none) {  // so that no notification outlives its case
            post(kClose, std::nullopt, {{"which", "none"}});
            post(kClose, "document-1", {{"which", "mine"}});
        }

        EXPECT_TRUE(waiter.runRunLoopUntilNotificationsReceived());
        EXPECT_EQ(waiter.userInfo(),
                  (UserInfo{{"which", document == Document::none ? "other" : "mine"}}));
    }
}

TEST_F(ADistributedNotificationWaiter, HandsANotificationThatCameEarlyToAnObserverAddedLater) {
    // As with a merge resolved at once: the wait stands before the document is sent, the merge
    // notification arrives, and only then is its observer added.
    CVDistributedNotificationWaiter waiter(10.0, 0, kClose, "document-1");
    post("CVMergeFinishedByResolvingNotification", "document-1");
    roundTrip(application_);  // the notification is routed before the observer exists
    bool resolved = false;
    auto& center = CVDistributedNotificationCenter::defaultCenter();
    auto token = center.addObserver("CVMergeFinishedByResolvingNotification", "document-1",
                                    [&resolved](const auto&, const auto&) { resolved = true; });
    post(kClose, "document-1");

    EXPECT_TRUE(waiter.runRunLoopUntilNotificationsReceived());
    center.removeObserver(token);
    EXPECT_TRUE(resolved);
}

TEST_F(ADistributedNotificationWaiter, ReturnsAtOnceForANotificationThatArrivedDuringACall) {
    // Were the queued notification missed, the wait would run to its end and fail.
    CVDistributedNotificationWaiter waiter(10.0, 0, kClose, std::nullopt);
    // Sent by hand, with user info values that are not strings, which the waiter drops.
    CVBusObject<sd_bus_message> message;
    ASSERT_GE(sd_bus_message_new_signal(application_, message.out(), "/com/corvane/Corvane",
                                        "com.corvane.Corvane.DistributedNotifications", kClose),
              0);
    ASSERT_GE(sd_bus_message_append(message, "va{sv}", "s", "document-1", 3, "name", "s", "left",
                                    "count", "i", 3, "flag", "b", 1),
              0);
    ASSERT_GE(sd_bus_send(application_, message, nullptr), 0);
    ASSERT_GE(sd_bus_flush(application_), 0);
    // A synchronous call reads the signal off the socket into sd-bus's queue, where no descriptor
    // event will announce it again.
    roundTrip(CVSessionBus::shared());

    EXPECT_TRUE(waiter.runRunLoopUntilNotificationsReceived());
    EXPECT_EQ(waiter.userInfo(), (UserInfo{{"name", "left"}}));
}

TEST_F(ADistributedNotificationWaiter, IgnoresWhatArrivesWhileItsDocumentIsStillAwaited) {
    // As while a streamed changeset's call is answered: the run dispatches what it reads from the
    // bus before it knows its document, and another document's close must not end its wait.
    CVDistributedNotificationWaiter waiter(10.0, 0, kClose, std::nullopt);
    waiter.awaitNotificationObject();
    post(kClose, "document-2", {{"which", "other"}});
    sd_bus* tool = CVSessionBus::shared();
    roundTrip(tool);
    while (sd_bus_process(tool, nullptr) > 0) {
    }
    waiter.setNotificationObject("document-1");
    post(kClose, "document-1", {{"which", "mine"}});

    EXPECT_TRUE(waiter.runRunLoopUntilNotificationsReceived());
    EXPECT_EQ(waiter.userInfo(), (UserInfo{{"which", "mine"}}));
}

TEST_F(ADistributedNotificationWaiter, EndsAtTheNextPollWhenTheApplicationQuits) {
    pid_t application = fork();
    if (application == 0) {
        for (;;) {
            pause();
        }
    }
    // Only the presence poll can end this wait before its time-out.
    CVDistributedNotificationWaiter waiter(60.0, application, kClose, std::nullopt);
    pid_t waitingThread = CVCurrentThreadIdentifier();
    std::thread quitter([&] {
        CVWaitUntilThreadSleepsInEpoll(waitingThread);
        kill(application, SIGKILL);
        waitpid(application, nullptr, 0);
    });

    bool received = waiter.runRunLoopUntilNotificationsReceived();
    quitter.join();

    EXPECT_FALSE(received);
    EXPECT_EQ(waiter.cancelReason(), "Corvane quit while the action was running.");
}

TEST_F(ADistributedNotificationWaiter, EndsWhenTheApplicationsNameLosesItsOwnerCountingWhatItSent) {
    for (bool sentFirst : {false, true}) {
        // The process identifier the application reports may be anything: 1 never ends.
        CVDistributedNotificationWaiter waiter(10.0, 1, kClose, std::nullopt);
        waiter.endWhenApplicationQuits();
        if (sentFirst) {
            post(kClose, "document-1");
        }
        ASSERT_GE(sd_bus_release_name(application_, "com.corvane.Corvane"), 0);

        EXPECT_EQ(waiter.runRunLoopUntilNotificationsReceived(), sentFirst);
        EXPECT_EQ(waiter.cancelReason(),
                  sentFirst
                      ? std::nullopt
                      : std::optional<std::string>("Corvane quit while the action was running."));
        ASSERT_GE(sd_bus_request_name(application_, "com.corvane.Corvane", 0), 0);
    }
}

TEST_F(ADistributedNotificationWaiter, IsNotEndedByAnEarlierCopysLossOfTheNameStillQueued) {
    {  // The center follows the name from here on, and takes the changes below.
        CVDistributedNotificationWaiter earlier(10.0, 1, kClose, std::nullopt);
        ASSERT_GE(sd_bus_release_name(application_, "com.corvane.Corvane"), 0);
        ASSERT_GE(sd_bus_request_name(application_, "com.corvane.Corvane", 0), 0);
        post(kClose, "document-0");
        ASSERT_TRUE(earlier.runRunLoopUntilNotificationsReceived());
    }
    // Another copy takes the name over; the loss is still queued when the wait begins.
    CVBusObject<sd_bus> successor = CVPrivateSessionBus::shared().openConnection();
    ASSERT_GE(sd_bus_release_name(application_, "com.corvane.Corvane"), 0);
    ASSERT_GE(sd_bus_request_name(successor, "com.corvane.Corvane", 0), 0);
    CVDistributedNotificationWaiter waiter(10.0, 1, kClose, std::nullopt);
    waiter.endWhenApplicationQuits();
    ASSERT_GE(
        CVDistributedNotificationCenter::postNotification(successor, kClose, "document-1", {}), 0);
    ASSERT_GE(sd_bus_flush(successor), 0);

    EXPECT_TRUE(waiter.runRunLoopUntilNotificationsReceived());
    EXPECT_EQ(waiter.cancelReason(), std::nullopt);
}

TEST_F(ADistributedNotificationWaiter, RaisesThePortExceptionWhenTheBusGoesAwayDuringTheWait) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            // Ends the bus from inside the wait: the observer runs during the wait's dispatch.
            CVDistributedNotificationCenter::defaultCenter().addObserver(
                "CVTestEndTheBus", std::nullopt,
                [](const auto&, const auto&) { CVPrivateSessionBus::shared().kill(); });
            CVDistributedNotificationWaiter waiter(100000.0, 0, kClose, std::nullopt);
            post("CVTestEndTheBus", std::nullopt);
            try {
                waiter.runRunLoopUntilNotificationsReceived();
            } catch (const CVException& exception) {
                fputs(exception.name().c_str(), stderr);
                exit(1);
            }
            exit(0);
        },
        testing::ExitedWithCode(1), "NSInvalidReceivePortException");
}
