// Sends that go through the changeset coordinator, and the git difftool summary that precedes the
// first item of a multi-file difftool run.
#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "interpreter/CVCLIInterpreter.h"
#include "link/CVApplicationLocator.h"
#include "link/CVChangesetCoordinator.h"
#include "link/CVDistributedNotificationWaiter.h"
#include "model/CVCLISerializedChangesetSummary.h"
#include "model/CVCLISerializedDiffInvocation.h"
#include "model/CVCLISerializedPartialChangeset.h"
#include "platform/CVEnvironment.h"
#include "platform/CVPrint.h"
#include "platform/CVSubprocess.h"
#include "platform/CVUTF8.h"
#include "process/ZPProcessInformation.h"

namespace {

bool contains(const std::vector<std::string>& list, const std::string& element) {
    return std::find(list.begin(), list.end(), element) != list.end();
}

std::string joined(const std::vector<std::string>& list) {
    std::string text;
    for (const std::string& element : list) {
        if (!text.empty()) {
            text += ' ';
        }
        text += element;
    }
    return text;
}

std::optional<std::string> decodedUTF8(const std::string& bytes) {
    return CVIsValidUTF8(bytes) ? std::optional<std::string>(bytes) : std::nullopt;
}

}  // namespace

void CVCLIInterpreter::sendCoordinatedDocumentInvocation(
    const std::shared_ptr<CVCLISerializedDiffInvocation>& invocation) {
    CVChangesetCoordinator coordinator;
    std::optional<std::string> identifier;
    if (invocation->isPartialChangeset()) {
        const auto& partialChangeset = invocation->partialChangeset();
        identifier = partialChangeset->UUID() ? partialChangeset->UUID()
                                              : partialChangeset->UUIDForProcess();
    } else if (invocation->isChangesetSummary()) {
        identifier = invocation->changesetSummary()->UUIDForProcess();
    } else {
        identifier = CVChangesetCoordinator::identifierForProcess(significantParentProcess().get());
    }

    std::shared_ptr<CVDistributedNotificationWaiter> waiter;
    bool didSend = false;
    coordinator.coordinateSendingChangesetForIdentifier(identifier, [&] {
        waiter = sendDocumentInvocation(invocation);
        didSend = true;
    });
    if (!didSend) {
        exitCode_ = 1;
    }
    wait(invocation->waitForTabClose(), waiter);
}

void CVCLIInterpreter::sendGitDifftoolSummaryIfNeeded(const std::vector<std::string>& arguments) {
    std::optional<std::string> workTree = CVEnvironmentValue("GIT_WORK_TREE");
    if (!contains(arguments, "--partial-changeset") || !workTree ||
        CVApplicationLocator::integerValue(CVEnvironmentValue("GIT_DIFF_PATH_COUNTER")) != 1 ||
        CVApplicationLocator::integerValue(CVEnvironmentValue("GIT_DIFF_PATH_TOTAL")) < 2) {
        return;
    }
    std::shared_ptr<ZPProcessInformation> git = significantParentProcess();
    if (!git || !git->arguments()) {
        return;
    }
    const std::vector<std::string>& gitArguments = *git->arguments();
    if (gitArguments.empty() ||
        (!contains(gitArguments, "diff") && !contains(gitArguments, "difftool"))) {
        return;
    }
    CVDebugLog([&] {
        return "WOULD EXECUTE: \n $> cd '" + *workTree + "'; " + joined(gitArguments) +
               " --name-status";
    });

    // The child is git started the same way, with "--name-status" right after its first
    // argument, in git's own environment.
    std::vector<std::string> childArguments = gitArguments;
    childArguments.insert(
        childArguments.begin() + std::min<std::ptrdiff_t>(2, std::ssize(childArguments)),
        "--name-status");
    const std::string folder = *workTree == "." ? workingDirectory_ : *workTree;
    std::string failure;
    std::optional<CVSubprocessResult> output =
        CVRunSubprocess({.arguments = childArguments,
                         .environment = git->environmentArray(),
                         .workingDirectory = folder,
                         .standardOutput = CVChildOutput::captured(),
                         .standardError = CVChildOutput::captured()},
                        &failure);
    if (!output) {
        CVDebugLog([&] {
            return "Failed executing <" + joined(childArguments) + " in " + folder +
                   ">: " + CVError::withLocalizedDescription(failure).description();
        });
        return;
    }
    std::optional<std::string> standardOutput = decodedUTF8(output->standardOutput);
    std::optional<std::string> standardError = decodedUTF8(output->standardError);
    CVDebugLog([&] {
        return "Output: " + standardOutput.value_or("(null)") +
               ", Error: " + standardError.value_or("(null)");
    });
    sendPartialChangesetInvocationWithSummary(standardOutput.value_or(""));
}
