#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>

#include "platform/CVError.h"
#include "platform/CVRunningApplication.h"

// Finding installed applications through their desktop entries and opening them.
namespace CVWorkspace {

// The bundle of the application with this identifier: the desktop entry "<identifier>.desktop"
// in $XDG_DATA_HOME/applications, else in applications/ of each $XDG_DATA_DIRS folder (the first
// entry found decides); its bundle is the one whose Contents/MacOS/ holds the entry's Exec
// program. Nothing when no entry is found or its program lies in no bundle.
std::optional<std::string> URLForApplicationWithBundleIdentifier(const std::string& identifier);

// The first word of a desktop entry's Exec value, with its escapes and quoting removed.
std::optional<std::string> programOfExecValue(const std::string& value);

// Called with the started application, or with the reason it could not be started.
using OpenCompletion = std::function<void(const std::optional<CVRunningApplication>& application,
                                          const std::optional<CVError>& error)>;

// Starts the bundle's CFBundleExecutable in a new session, its standard streams on /dev/null and
// its working directory "/", with this process's environment plus the extra entries (which win).
// Never waits for the application to exit and leaves no zombie. The completion is called once,
// before this returns, when the program has been executed or has failed to be; failures are
// errors of the domain "NSPOSIXErrorDomain" whose code is the errno value.
void openApplicationAtURL(const std::string& bundlePath,
                          const std::map<std::string, std::string>& extraEnvironment,
                          const OpenCompletion& completion);

}  // namespace CVWorkspace
