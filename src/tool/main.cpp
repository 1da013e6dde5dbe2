// The entry point: decodes the arguments, runs one interpretation and turns its outcome into
// output and an exit status.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <string>
#include <vector>

#include "interpreter/CVCLIInterpreter.h"
#include "platform/CVException.h"
#include "platform/CVPrint.h"
#include "platform/CVProcessName.h"
#include "platform/CVSessionBus.h"
#include "platform/CVTemporaryFolder.h"
#include "platform/CVUTF8.h"

namespace {

std::string describeArguments(const std::vector<std::string>& arguments) {
    std::string text = "(\n";
    for (size_t index = 0; index < arguments.size(); ++index) {
        text += "    " + CVDescriptionOfString(arguments[index]) +
                (index + 1 < arguments.size() ? ",\n" : "\n");
    }
    return text + ")";
}

int run(int argc, char** argv) {
    std::vector<std::string> arguments;
    arguments.reserve(static_cast<size_t>(argc));
    for (int index = 0; index < argc; ++index) {
        // An argument that is not valid UTF-8 is dropped; the others keep their order.
        std::string argument(argv[index]);
        if (CVIsValidUTF8(argument)) {
            arguments.push_back(std::move(argument));
        }
    }
    CVDebugLog([&] { return describeArguments(arguments); });

    CVCLIInterpreter interpreter;
    std::optional<CVError> error;
    std::optional<std::string> result = interpreter.interpretArguments(arguments, &error);
    if (result) {
        CVPrint(stdout, *result);
    } else {
        CVDebugLog([&] { return error ? error->description() : std::string("(null)"); });
        if (error) {
            CVPrint(stderr, error->localizedDescription() + "\n");
        }
        CVPrint(stderr, interpreter.shortUsageString());
    }
    return interpreter.exitCode();
}

// Ends the process once the run is settled: the copies it owned are removed, its output is
// flushed, and the bus connection's last messages are written. Destructors would only free memory
// and close descriptors, which the kernel does as the process ends; a caller waiting for a tab
// resumes a tenth sooner without them.
[[noreturn]] void endProcess(int status) {
    CVSessionBus::flushShared();
#if defined(__SANITIZE_ADDRESS__)
    // The leak check runs at exit.
    std::exit(status);
#else
    std::_Exit(status);
#endif
}

}  // namespace

int main(int argc, char** argv) {
    CVRemoveOwnedReplacementDirectoriesOnInterruption();
    try {
        int status = run(argc, argv);
        if (int writeError = CVFinishStandardStreams()) {
            // Output that did not arrive is a failure, as with the standard tools.
            CVPrint(stderr, CVProcessName() + ": write error: " + strerror(writeError) + "\n");
            fflush(stderr);
            status = 1;
        }
        endProcess(status);
    } catch (const CVException& exception) {
        // Termination is immediate, but not before the copies the run still owns are removed.
        CVRemoveOwnedReplacementDirectories();
        if (exception.name() == CVException::kInvalidReceivePortException ||
            exception.name() == CVException::kInvalidSendPortException) {
            CVPrint(stderr, "cvdiff has encountered an error communicating with Corvane. Exiting.");
        } else {
            CVPrint(stderr,
                    "cvdiff has encountered an error. Exiting. (" + exception.description() + ")");
        }
    } catch (const std::exception& exception) {
        CVRemoveOwnedReplacementDirectories();
        CVPrint(stderr, std::string("cvdiff has encountered an error. Exiting. (") +
                            exception.what() + ")");
    }
    fflush(stdout);
    exit(1);
}
