// Corvane: the reference application, and the command-line front of its control interface.

#include <cstdlib>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "app/CorvaneApplication.h"
#include "app/CorvaneControlClient.h"
#include "app/CorvaneNames.h"
#include "app/view/CorvaneWindowApplication.h"
#include "platform/CVEnvironment.h"
#include "platform/CVJournalStream.h"
#include "platform/CVPrint.h"
#include "platform/CVVersion.h"

namespace {

constexpr const char* kUsage =
    "Usage: Corvane [--journal PATH] [--headless]\n"
    "                                            run the application: with a window when a\n"
    "                                            display is there, else (or --headless) without\n"
    "       Corvane --list                       print the open documents as JSON\n"
    "       Corvane --close-tab GUID             close a document's tab\n"
    "       Corvane --finish-merge GUID --resolved [--result left|right|base|PATH]\n"
    "       Corvane --finish-merge GUID --unresolved\n"
    "       Corvane --quit                       end the running application\n"
    "       Corvane --describe GUID              print what a document's tab shows as JSON\n"
    "       Corvane --activate GUID ACTION       activate a window action on a tab\n"
    "                                            (next-change, close-tab, wrap-lines...);\n"
    "                                            GUID window: allow-file-access,\n"
    "                                            deny-file-access answer the file-access question\n"
    "       Corvane --screenshot PATH            save the window as a PNG image\n"
    "       Corvane --version                    print the version\n";

int usageError(const std::string& message) {
    CVPrint(stderr, message + "\n" + kUsage);
    return 1;
}

// What the command line asks for.
struct Request {
    std::optional<std::string> journalPath;
    bool headless = false;
    // A control command ("--list", "--close-tab"...), or nothing to run the application.
    std::optional<std::string> command;
    // The command's GUID (a path for --screenshot), action and merge outcome.
    std::string GUID;
    std::string action;
    std::optional<bool> resolved;
    std::string resultSource;
};

// Reads the arguments into the request; an exit status when the run ends here (help, version,
// or a usage error).
std::optional<int> readArguments(const std::vector<std::string>& arguments, Request& request) {
    for (size_t index = 0; index < arguments.size(); ++index) {
        const std::string& argument = arguments[index];
        if (argument == "--help" || argument == "-h") {
            CVPrint(stdout, kUsage);
            return 0;
        }
        if (argument == "--version") {
            CVPrint(stdout, std::string("Corvane ") + kCVDiffShortVersion + " (" +
                                kCVDiffBuildNumber + ")\n");
            return 0;
        }
        if (argument == "--headless") {
            request.headless = true;
        } else if (argument == "--activate") {
            if (index + 2 >= arguments.size()) {
                return usageError("--activate needs a GUID and an action.");
            }
            request.command = argument;
            request.GUID = arguments[++index];
            request.action = arguments[++index];
        } else if (argument == "--journal" || argument == "--close-tab" ||
                   argument == "--finish-merge" || argument == "--result" ||
                   argument == "--describe" || argument == "--screenshot") {
            if (index + 1 >= arguments.size()) {
                return usageError(argument + " needs a value.");
            }
            const std::string& value = arguments[++index];
            if (argument == "--journal") {
                request.journalPath = value;
            } else if (argument == "--result") {
                request.resultSource = value;
            } else {
                request.command = argument;
                request.GUID = value;
            }
        } else if (argument == "--list" || argument == "--quit") {
            request.command = argument;
        } else if (argument == "--resolved" || argument == "--unresolved") {
            request.resolved = argument == "--resolved";
        } else {
            return usageError("Unknown argument: " + argument);
        }
    }
    return std::nullopt;
}

int runApplication(const Request& request, const char* programName) {
    // Started by cvdiff, the application writes to /dev/null: its diagnostics go to the journal
    // instead, where `journalctl -t corvane` finds them.
    CVSendUnseenOutputToJournal("corvane");
    // Termination goes through the loop, which releases the names before the process ends.
    CorvaneApplication application(request.journalPath);
    bool display = !CVEnvironmentValue("WAYLAND_DISPLAY").value_or("").empty() ||
                   !CVEnvironmentValue("DISPLAY").value_or("").empty();
    if (request.headless || !display) {
        return application.run();
    }
    return CorvaneRunWithWindow(application, programName);
}

int runControlCommand(const Request& request) {
    const std::string& command = *request.command;
    if (command == "--describe") {
        return CorvaneControlClient::describeDocument(request.GUID);
    }
    if (command == "--activate") {
        return CorvaneControlClient::activateAction(request.GUID, request.action);
    }
    if (command == "--screenshot") {
        // The application may run elsewhere: it gets a path that does not depend on ours.
        return CorvaneControlClient::saveScreenshot(
            std::filesystem::absolute(request.GUID).string());
    }
    if (command == "--list") {
        return CorvaneControlClient::listDocuments();
    }
    if (command == "--close-tab") {
        return CorvaneControlClient::closeTab(request.GUID);
    }
    if (command == "--finish-merge") {
        if (!request.resolved) {
            return usageError("--finish-merge needs --resolved or --unresolved.");
        }
        return CorvaneControlClient::finishMerge(request.GUID, *request.resolved,
                                                 request.resultSource);
    }
    return CorvaneControlClient::quit();
}

}  // namespace

int main(int argc, char** argv) {
    Request request;
    request.journalPath = CVEnvironmentValue(CorvaneNames::kJournalVariable);
    if (std::optional<int> status =
            readArguments(std::vector<std::string>(argv + 1, argv + argc), request)) {
        return *status;
    }
    return request.command ? runControlCommand(request) : runApplication(request, argv[0]);
}
