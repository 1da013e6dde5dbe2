#pragma once

#include <functional>
#include <string>

// The application's answer to a tool's request for file access: it shares a minimal bookmark of the
// path through the app group, where the tool imports it as its own grant.
namespace CorvaneAuthorization {

// Asks the person using the window whether the tool may reach the path, and calls `answer` (true
// allows) once they said, later, from the main loop. Set by the window when one is shown; without
// one the request is granted without asking.
using Answer = std::function<void(bool allowed)>;
using AskPerson = std::function<void(const std::string& path, Answer answer)>;
void setAskPerson(AskPerson askPerson);

// Answers a request: asks the person when a window set the hook, and exports the grant unless
// refused; then calls `done` (true when a grant was exported), at once without a window. The
// variable CORVANE_REFUSE_FILE_ACCESS (any value), meant for tests only, refuses every request
// as a person would. A refusal exports nothing.
void answerRequestForPath(const std::string& path, Answer done);

}  // namespace CorvaneAuthorization
