#pragma once

#include <functional>
#include <string>

// The application's answer to a tool's request for file access: it shares a minimal bookmark of the
// path through the app group, where the tool imports it as its own grant.
namespace CorvaneAuthorization {

// Asks the person using the window whether the tool may reach the path; true allows. Set by the
// window when one is shown; without one the request is granted without asking.
using AskPerson = std::function<bool(const std::string& path)>;
void setAskPerson(AskPerson askPerson);

// Answers a request: asks the person when a window set the hook, and exports the grant unless
// refused. The variable CORVANE_REFUSE_FILE_ACCESS (any value), meant for tests only, refuses every
// request as a person would. A refusal exports nothing. True when a grant was exported.
bool answerRequestForPath(const std::string& path);

}  // namespace CorvaneAuthorization
