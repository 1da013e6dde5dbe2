#pragma once

#include <string>

// The command-line front of the control interface: calls the running application on the
// session bus and reports like a command (output on standard output, errors on standard error).
namespace CorvaneControlClient {

// Prints the open documents as a JSON array. Status 0, or 1 with the reason on standard error
// ("Corvane is not running." when nothing owns the application's name).
int listDocuments();
int closeTab(const std::string& GUID);
// resultSource: "" or "left", "right", "base", or the path of a file; unused when unresolved.
int finishMerge(const std::string& GUID, bool resolved, const std::string& resultSource);
int quit();
// The window's side, for tests and demos: prints what a tab shows as JSON; activates a window
// action on a tab; saves a PNG of the window.
int describeDocument(const std::string& GUID);
int activateAction(const std::string& GUID, const std::string& action);
int saveScreenshot(const std::string& path);

}  // namespace CorvaneControlClient
