#pragma once

#include <string>

// How the callers that Linux installs without bundles are recognised by a program path (a
// process's first argument or its executable file). docs/caller-detection.md lists the rules.
namespace ZPLinuxCallers {

// A JetBrains IDE: a launcher <install>/bin/<product>, optionally with "64" and ".sh"
// (idea, idea.sh, pycharm64, ...), or any program, the bundled Java runtime above all, inside a
// JetBrains install folder ("/JetBrains/", "jetbrains-toolbox", "/idea-IU-", "/idea-IC-").
bool isJetBrainsProgramPath(const std::string& path);

// GitKraken: <prefix>/gitkraken/gitkraken (the .deb, .rpm and tarball installs), or a snap or
// flatpak path ("/snap/...", "/app/...", ".../flatpak/...") that names gitkraken in any case.
bool isGitKrakenProgramPath(const std::string& path);

}  // namespace ZPLinuxCallers
