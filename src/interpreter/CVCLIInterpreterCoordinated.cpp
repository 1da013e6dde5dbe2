// Sends that go through the changeset coordinator, and the git difftool summary that precedes the
// first item of a multi-file difftool run.
#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

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
#include "platform/CVUTF8.h"
#include "process/ZPProcessInformation.h"

extern char** environ;

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

std::vector<char*> nullTerminated(std::vector<std::string>& strings) {
    std::vector<char*> pointers;
    pointers.reserve(strings.size() + 1);
    for (std::string& string : strings) {
        pointers.push_back(string.data());
    }
    pointers.push_back(nullptr);
    return pointers;
}

// The finished child: what it printed on each stream.
struct ChildOutput {
    std::string standardOutput;
    std::string standardError;
};

// Reads both pipes to their ends and closes them. Both are drained together: a child that fills
// one pipe while the other is being read to its end would never finish.
void drainPipes(int outputDescriptor, int errorDescriptor, ChildOutput& output) {
    pollfd descriptors[2] = {{outputDescriptor, POLLIN, 0}, {errorDescriptor, POLLIN, 0}};
    std::string* buffers[2] = {&output.standardOutput, &output.standardError};
    char chunk[16384];
    while (descriptors[0].fd >= 0 || descriptors[1].fd >= 0) {
        if (poll(descriptors, 2, -1) < 0) {
            if (errno == EINTR) {
                continue;
            }
            break;
        }
        for (int index = 0; index < 2; ++index) {
            if (descriptors[index].fd < 0 || descriptors[index].revents == 0) {
                continue;
            }
            ssize_t count = read(descriptors[index].fd, chunk, sizeof chunk);
            if (count > 0) {
                buffers[index]->append(chunk, static_cast<size_t>(count));
            } else if (count == 0 || errno != EINTR) {
                close(descriptors[index].fd);
                descriptors[index].fd = -1;
            }
        }
    }
    for (const pollfd& descriptor : descriptors) {
        if (descriptor.fd >= 0) {
            close(descriptor.fd);
        }
    }
}

// Starts the program (searched on PATH when it names no folder, as git is usually started by its
// bare name) in the folder with the environment, and reads both of its output streams to their
// ends before reaping it. Nothing, with the reason, when it could not be started.
std::optional<ChildOutput> runChild(const std::string& program, std::vector<std::string> arguments,
                                    std::optional<std::vector<std::string>> environment,
                                    const std::string& folder, std::string& failure) {
    int outputPipe[2];
    int errorPipe[2];
    if (pipe2(outputPipe, O_CLOEXEC) != 0) {
        failure = strerror(errno);
        return std::nullopt;
    }
    if (pipe2(errorPipe, O_CLOEXEC) != 0) {
        failure = strerror(errno);
        close(outputPipe[0]);
        close(outputPipe[1]);
        return std::nullopt;
    }
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, outputPipe[1], STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, errorPipe[1], STDERR_FILENO);
    posix_spawn_file_actions_addchdir_np(&actions, folder.c_str());

    std::vector<char*> argv = nullTerminated(arguments);
    std::vector<char*> envp;
    if (environment) {
        envp = nullTerminated(*environment);
    }
    pid_t child = 0;
    int status = posix_spawnp(&child, program.c_str(), &actions, nullptr, argv.data(),
                              environment ? envp.data() : environ);
    posix_spawn_file_actions_destroy(&actions);
    close(outputPipe[1]);
    close(errorPipe[1]);
    if (status != 0) {
        failure = strerror(status);
        close(outputPipe[0]);
        close(errorPipe[0]);
        return std::nullopt;
    }
    ChildOutput output;
    drainPipes(outputPipe[0], errorPipe[0], output);
    while (waitpid(child, nullptr, 0) < 0 && errno == EINTR) {
    }
    return output;
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
    childArguments.insert(childArguments.begin() + std::min<size_t>(2, childArguments.size()),
                          "--name-status");
    const std::string folder = *workTree == "." ? workingDirectory_ : *workTree;
    std::string failure;
    std::optional<ChildOutput> output =
        runChild(gitArguments.front(), childArguments, git->environmentArray(), folder, failure);
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
