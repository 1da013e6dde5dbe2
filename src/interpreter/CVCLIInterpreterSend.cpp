// Reaching the application: the proxy, delivering invocations, waiting for the document's tab and
// the authorization request.
#include <utility>
#include <vector>

#include "interpreter/CVCLIInterpreter.h"
#include "link/CVCLIProxyProtocol.h"
#include "link/CVDistributedNotificationCenter.h"
#include "link/CVDistributedNotificationWaiter.h"
#include "model/CVCLISerializedDiffInvocation.h"
#include "model/CVPackedInvocationWriter.h"
#include "platform/CVCorvaneContract.h"
#include "platform/CVPrint.h"
#include "platform/CVTemporaryFolder.h"

namespace {

// 10,000 days: in effect no time limit; the presence poll ends the wait when the application quits.
constexpr double kDeliveryWaitDuration = 864000000.0;

}  // namespace

std::shared_ptr<CVCLIProxyProtocol> CVCLIInterpreter::createProxyForCorvane() {
    if (!launchCorvaneIfNecessary()) {
        return nullptr;
    }
    // Corvane registers its connection before it takes its own name, and gives it up after: the
    // launch check, which saw Corvane own that name, has seen the connection registered too.
    auto proxy = CVCLIProxyProtocol::rootProxyForConnectionWithRegisteredName(
        CVCorvaneContract::kDistributedObjectsConnectionName, /*ownerSeen=*/true);
    if (proxy == nullptr) {
        CVDebugLog("Could not create proxy");
        setInterpretError(errorWithLocalizedDescription("Could not connect to Corvane."));
    }
    return proxy;
}

std::optional<CVCLIInterpreter::Delivery> CVCLIInterpreter::openDelivery(
    const CVCLISerializedDiffInvocation& invocation) {
    auto proxy = createProxyForCorvane();
    if (proxy == nullptr) {
        // No document will be opened, so nothing would ever end a wait for one: the error recorded
        // by createProxyForCorvane ends the run instead.
        return std::nullopt;
    }
    Delivery delivery{.proxy = proxy};
    if (invocation.waitForTabClose()) {
        // Registered before the document is sent, so that an early close is not missed. Nothing
        // that will not wait costs the round trips of an observer.
        delivery.waiter = std::make_shared<CVDistributedNotificationWaiter>(
            kDeliveryWaitDuration, proxy->processID(), CVCorvaneContract::kCloseTabNotification,
            std::nullopt);
        delivery.waiter->endWhenApplicationQuits();
        delivery.waiter->awaitNotificationObject();
    }
    return delivery;
}

bool CVCLIInterpreter::beginStreamingInvocation(const CVCLISerializedDiffInvocation& invocation) {
    packedInvocation_ = std::make_unique<CVPackedInvocationWriter>();
    if (!packedInvocation_->begin(invocation)) {
        return false;
    }
    streamedDelivery_ = openDelivery(invocation);
    if (!streamedDelivery_) {
        return false;
    }
    CVCLIProxyProtocol& proxy = *streamedDelivery_->proxy;
    streamedDelivery_->streamedCall =
        proxy.beginGUIDForDocumentWithPackedStream(packedInvocation_->readingEnd());
    packedInvocation_->closeReadingEnd();
    return true;
}

std::shared_ptr<CVDistributedNotificationWaiter> CVCLIInterpreter::sendDocumentInvocation(
    const std::shared_ptr<CVCLISerializedDiffInvocation>& invocation) {
    if (interpretError()) {
        return nullptr;
    }
    std::optional<Delivery> delivery = streamedDelivery_
                                           ? std::exchange(streamedDelivery_, std::nullopt)
                                           : openDelivery(*invocation);
    if (!delivery) {
        return nullptr;
    }
    std::optional<std::string> identifier =
        delivery->streamedCall ? delivery->proxy->GUIDForDocument(*delivery->streamedCall)
                               : delivery->proxy->GUIDForDocumentWithCVDiffInvocation(*invocation);
    if (delivery->waiter) {
        delivery->waiter->setNotificationObject(identifier);
    }
    handOverCopies();
    return delivery->waiter;
}

void CVCLIInterpreter::handOverCopies() {
    // The application holds the sent invocation's copies now, except a plain diff's, which the
    // run removes itself when it ends.
    std::vector<std::string> keptPaths;
    for (const CVFileDictionary& file : files()) {
        keptPaths.push_back(file.path);
    }
    CVHandOverReplacementDirectories(keptPaths);
}

void CVCLIInterpreter::sendUncoordinatedDocumentInvocation(
    const std::shared_ptr<CVCLISerializedDiffInvocation>& invocation) {
    auto waiter = sendDocumentInvocation(invocation);
    bool resolved = false;
    std::vector<CVDistributedNotificationCenter::Token> mergeObservers;
    auto& center = CVDistributedNotificationCenter::defaultCenter();
    if (invocation->isMerge() && waiter != nullptr) {
        auto object = waiter->notificationObject();
        // The last of the two notifications to arrive decides.
        mergeObservers.push_back(
            center.addObserver(CVCorvaneContract::kMergeFinishedByResolvingNotification, object,
                               [&resolved](const auto&, const auto&) { resolved = true; }));
        mergeObservers.push_back(center.addObserver(
            CVCorvaneContract::kMergeFinishedWithoutResolvingNotification, object,
            [&resolved](const auto&, const auto&) { resolved = false; }));
    }
    wait(invocation->waitForTabClose(), waiter);
    if (invocation->isMerge()) {
        for (auto token : mergeObservers) {
            center.removeObserver(token);
        }
        setExitCode(resolved ? 0 : 1);
    }
}

void CVCLIInterpreter::sendAuthorizationRequest() {
    auto proxy = createProxyForCorvane();
    if (proxy != nullptr) {
        proxy->requestAuthorizationForPath("/");
    }
}

void CVCLIInterpreter::wait(bool shouldWait,
                            const std::shared_ptr<CVDistributedNotificationWaiter>& observer) {
    if (observer == nullptr || !shouldWait) {
        return;
    }
    if (!observer->runRunLoopUntilNotificationsReceived()) {
        setInterpretError(errorWithLocalizedDescription(observer->cancelReason().value_or("")));
    }
}
