// Reaching the application: the proxy, delivering invocations, waiting for the document's tab and
// the authorization request.
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

std::optional<std::string> CVCLIInterpreter::sendPayload(
    CVCLIProxyProtocol& proxy, const CVCLISerializedDiffInvocation& invocation) {
    if (packedInvocation_) {
        return proxy.GUIDForDocumentWithPackedInvocation(packedInvocation_->descriptor());
    }
    return proxy.GUIDForDocumentWithCVDiffInvocation(invocation);
}

std::shared_ptr<CVCLIProxyProtocol> CVCLIInterpreter::createProxyForCorvane() {
    if (!launchCorvaneIfNecessary()) {
        return nullptr;
    }
    auto proxy = CVCLIProxyProtocol::rootProxyForConnectionWithRegisteredName(
        CVCorvaneContract::kDistributedObjectsConnectionName);
    if (proxy == nullptr) {
        CVDebugLog("Could not create proxy");
        setInterpretError(errorWithLocalizedDescription("Could not connect to Corvane."));
    }
    return proxy;
}

std::shared_ptr<CVDistributedNotificationWaiter> CVCLIInterpreter::sendDocumentInvocation(
    const std::shared_ptr<CVCLISerializedDiffInvocation>& invocation) {
    if (interpretError()) {
        return nullptr;
    }
    auto proxy = createProxyForCorvane();
    if (proxy == nullptr) {
        // No document was opened, so nothing would ever end a wait for one: the error recorded
        // by createProxyForCorvane ends the run instead.
        return nullptr;
    }
    if (!invocation->waitForTabClose()) {
        // Nothing will wait: no observer, and none of the round trips one costs.
        sendPayload(*proxy, *invocation);
        handOverCopies();
        return nullptr;
    }
    // Registered before the document is sent, so that an early close is not missed.
    auto waiter = std::make_shared<CVDistributedNotificationWaiter>(
        kDeliveryWaitDuration, proxy->processID(), CVCorvaneContract::kCloseTabNotification,
        std::nullopt);
    waiter->endWhenApplicationQuits();
    waiter->setNotificationObject(sendPayload(*proxy, *invocation));
    handOverCopies();
    return waiter;
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
