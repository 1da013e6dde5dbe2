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

}  // namespace

int main(int argc, char** argv) {
    std::vector<std::string> arguments(argv + 1, argv + argc);
    std::optional<std::string> journalPath = CVEnvironmentValue(CorvaneNames::kJournalVariable);
    std::optional<std::string> command;
    std::string GUID;
    std::optional<bool> resolved;
    std::string resultSource;
    std::string action;
    bool headless = false;

    for (size_t index = 0; index < arguments.size(); ++index) {
        const std::string& argument = arguments[index];
        auto value = [&]() -> std::optional<std::string> {
            if (index + 1 >= arguments.size()) {
                return std::nullopt;
            }
            return arguments[++index];
        };
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
            headless = true;
            continue;
        }
        if (argument == "--activate") {
            if (index + 2 >= arguments.size()) {
                return usageError("--activate needs a GUID and an action.");
            }
            command = argument;
            GUID = arguments[++index];
            action = arguments[++index];
            continue;
        }
        if (argument == "--journal" || argument == "--close-tab" || argument == "--finish-merge" ||
            argument == "--result" || argument == "--describe" || argument == "--screenshot") {
            auto given = value();
            if (!given) {
                return usageError(argument + " needs a value.");
            }
            if (argument == "--journal") {
                journalPath = *given;
            } else if (argument == "--result") {
                resultSource = *given;
            } else {
                command = argument;
                GUID = *given;
            }
        } else if (argument == "--list" || argument == "--quit") {
            command = argument;
        } else if (argument == "--resolved" || argument == "--unresolved") {
            resolved = argument == "--resolved";
        } else {
            return usageError("Unknown argument: " + argument);
        }
    }

    if (!command) {
        // Started by cvdiff, the application writes to /dev/null: its diagnostics go to the
        // journal instead, where `journalctl -t corvane` finds them.
        CVSendUnseenOutputToJournal("corvane");
        // Termination goes through the loop, which releases the names before the process ends.
        CorvaneApplication application(journalPath);
        bool display = !CVEnvironmentValue("WAYLAND_DISPLAY").value_or("").empty() ||
                       !CVEnvironmentValue("DISPLAY").value_or("").empty();
        if (headless || !display) {
            return application.run();
        }
        return CorvaneRunWithWindow(application, argv[0]);
    }
    if (*command == "--describe") {
        return CorvaneControlClient::describeDocument(GUID);
    }
    if (*command == "--activate") {
        return CorvaneControlClient::activateAction(GUID, action);
    }
    if (*command == "--screenshot") {
        // The application may run elsewhere: it gets a path that does not depend on ours.
        return CorvaneControlClient::saveScreenshot(std::filesystem::absolute(GUID).string());
    }
    if (*command == "--list") {
        return CorvaneControlClient::listDocuments();
    }
    if (*command == "--close-tab") {
        return CorvaneControlClient::closeTab(GUID);
    }
    if (*command == "--finish-merge") {
        if (!resolved) {
            return usageError("--finish-merge needs --resolved or --unresolved.");
        }
        return CorvaneControlClient::finishMerge(GUID, *resolved, resultSource);
    }
    return CorvaneControlClient::quit();
}
