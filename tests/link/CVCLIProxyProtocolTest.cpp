#include "link/CVCLIProxyProtocol.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <cstring>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

#include "CVPrivateSessionBus.h"
#include "model/CVCLISerializedDiffInvocation.h"
#include "platform/CVCorvaneContract.h"
#include "platform/CVException.h"
#include "platform/CVSessionBus.h"

namespace {

constexpr const char* kName = CVCorvaneContract::kDistributedObjectsConnectionName;

// A minimal application: owns the registered name and answers the proxy protocol from a thread
// of its own, recording the calls it received.
class FakeApplication {
public:
    FakeApplication() : bus_(CVPrivateSessionBus::shared().openConnection()) {
        sd_bus_add_object(bus_, nullptr, CVCorvaneContract::kProxyObjectPath, methodCalled, this);
        if (sd_bus_request_name(bus_, kName, 0) < 0) {
            throw std::runtime_error("cannot own the name");
        }
        thread_ = std::thread([this] {
            while (!stopping_) {
                if (sd_bus_process(bus_, nullptr) == 0) {
                    sd_bus_wait(bus_, 50000);
                }
            }
        });
    }
    ~FakeApplication() { quit(); }
    FakeApplication(const FakeApplication&) = delete;
    FakeApplication& operator=(const FakeApplication&) = delete;

    // Ends the application: its name loses its owner.
    void quit() {
        if (thread_.joinable()) {
            stopping_ = true;
            thread_.join();
            sd_bus_flush_close_unref(bus_.release());
        }
    }

    std::vector<std::string> calls() {
        std::lock_guard lock(mutex_);
        return calls_;
    }

    std::atomic<bool> refuseDocuments = false;

private:
    // Records "member string-argument", the invocation's argument as "signature class-name".
    static int methodCalled(sd_bus_message* message, void* userdata, sd_bus_error* error) {
        auto* application = static_cast<FakeApplication*>(userdata);
        if (!sd_bus_message_is_method_call(message, CVCorvaneContract::kProxyInterface, nullptr)) {
            return 0;
        }
        std::string call = sd_bus_message_get_member(message);
        if (call == "processID") {
            application->record(call);
            return sd_bus_reply_method_return(message, "i", 4242);
        }
        bool isDocument = call == "GUIDForDocumentWithCVDiffInvocation";
        if (isDocument) {
            if (application->refuseDocuments) {
                return sd_bus_error_set(error, SD_BUS_ERROR_INVALID_ARGS,
                                        "unknown class name CVCLISerializedNothing");
            }
            const char* contents = nullptr;
            sd_bus_message_peek_type(message, nullptr, &contents);
            call += std::string(" ") + contents;
            sd_bus_message_enter_container(message, 'v', contents);
            sd_bus_message_enter_container(message, 'r', "sav");
        }
        const char* text = nullptr;
        sd_bus_message_read(message, "s", &text);
        application->record(call + " " + text);
        return isDocument ? sd_bus_reply_method_return(message, "v", "s", "document-1")
                          : sd_bus_reply_method_return(message, "");
    }

    void record(std::string call) {
        std::lock_guard lock(mutex_);
        calls_.push_back(std::move(call));
    }

    CVBusObject<sd_bus> bus_;
    std::atomic<bool> stopping_ = false;
    std::thread thread_;
    std::mutex mutex_;
    std::vector<std::string> calls_;
};

class ACLIProxyProtocol : public testing::Test {
protected:
    ACLIProxyProtocol() { CVPrivateSessionBus::shared(); }
};

}  // namespace

TEST_F(ACLIProxyProtocol, IsAbsentUntilAProcessOwnsTheNameThenCallsItUnderThatName) {
    EXPECT_EQ(CVCLIProxyProtocol::rootProxyForConnectionWithRegisteredName(kName), nullptr);
    FakeApplication application;
    auto proxy = CVCLIProxyProtocol::rootProxyForConnectionWithRegisteredName(kName);
    ASSERT_NE(proxy, nullptr);
    CVCLISerializedDiffInvocation invocation;
    invocation.setParentProcessName("git");

    EXPECT_EQ(proxy->processID(), 4242);
    proxy->requestAuthorizationForPath("/");
    EXPECT_EQ(proxy->GUIDForDocumentWithCVDiffInvocation(invocation), "document-1");
    proxy->markChangesetWithUUIDAsClosed("UUID:abc");

    EXPECT_EQ(application.calls(),
              (std::vector<std::string>{
                  "processID", "requestAuthorizationForPath /",
                  "GUIDForDocumentWithCVDiffInvocation (sav) CVCLISerializedDiffInvocation",
                  "markChangesetWithUUIDAsClosed UUID:abc"}));
}

TEST_F(ACLIProxyProtocol, RaisesTheApplicationsRefusalAsItsErrorAndThePortErrorOnceItHasGone) {
    FakeApplication application;
    application.refuseDocuments = true;
    auto proxy = CVCLIProxyProtocol::rootProxyForConnectionWithRegisteredName(kName);
    ASSERT_NE(proxy, nullptr);
    auto exceptionOf = [](const std::function<void()>& call) {
        try {
            call();
        } catch (const CVException& exception) {
            return std::pair<std::string, std::string>(exception.name(), exception.reason());
        }
        return std::pair<std::string, std::string>("no exception", "");
    };

    EXPECT_EQ(exceptionOf([&] {
                  proxy->GUIDForDocumentWithCVDiffInvocation(CVCLISerializedDiffInvocation());
              }),
              (std::pair<std::string, std::string>("org.freedesktop.DBus.Error.InvalidArgs",
                                                   "unknown class name CVCLISerializedNothing")));
    // A streamed invocation's answer is the same, once it comes.
    int socket[2] = {-1, -1};
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, socket), 0);
    auto streamed = proxy->beginGUIDForDocumentWithPackedStream(socket[1]);
    EXPECT_EQ(exceptionOf([&] { proxy->GUIDForDocument(*streamed); }).second,
              "unknown class name CVCLISerializedNothing");
    application.quit();
    // The daemon words the reason.
    EXPECT_EQ(exceptionOf([&] { proxy->processID(); }).first, "NSInvalidSendPortException");
    EXPECT_EQ(exceptionOf([&] {
                  proxy->GUIDForDocument(*proxy->beginGUIDForDocumentWithPackedStream(socket[1]));
              }).first,
              "NSInvalidSendPortException");
    close(socket[0]);
    close(socket[1]);
}

TEST_F(ACLIProxyProtocol, TakesTheCallersWordThatItSawTheOwnerAndItsFirstCallFindsItGone) {
    using Kind = CVBusNameQuestion::Kind;
    sd_bus* bus = CVSessionBus::shared();
    CVBusNameQuestion before(bus, kName, Kind::hasOwner);
    CVBusNameQuestion ownerBefore(bus, kName, Kind::ownerProcessIdentifier);
    EXPECT_FALSE(ownerBefore.ownerProcessIdentifier().has_value());
    EXPECT_FALSE(before.hasOwner());

    auto unowned = CVCLIProxyProtocol::rootProxyForConnectionWithRegisteredName(kName, true);
    ASSERT_NE(unowned, nullptr);
    try {
        unowned->processID();
        ADD_FAILURE() << "a call to a name without an owner was answered";
    } catch (const CVException& exception) {
        EXPECT_EQ(exception.name(), "NSInvalidSendPortException");
    }

    FakeApplication application;
    CVBusNameQuestion after(bus, kName, Kind::hasOwner);
    CVBusNameQuestion ownerAfter(bus, kName, Kind::ownerProcessIdentifier);
    // Answered in one round trip, read in any order.
    EXPECT_EQ(ownerAfter.ownerProcessIdentifier(), getpid());
    EXPECT_TRUE(after.hasOwner());

    CVBusNameQuestion withoutBus(nullptr, kName, Kind::hasOwner);
    EXPECT_FALSE(withoutBus.hasOwner());
    EXPECT_FALSE(withoutBus.ownerProcessIdentifier().has_value());
}
