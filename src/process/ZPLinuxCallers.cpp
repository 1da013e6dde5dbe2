#include "process/ZPLinuxCallers.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <optional>
#include <string_view>

#include "platform/CVPaths.h"
#include "platform/CVReadFile.h"

namespace ZPLinuxCallers {

namespace {

// Whether the folder is a JetBrains installation: it holds the product-info.json every JetBrains
// product ships at its top, naming the product's code.
bool isJetBrainsInstallFolder(const std::string& folder) {
    std::optional<std::string> info = CVReadWholeFile(folder + "/product-info.json");
    return info && info->size() < (1 << 20) && info->find("\"productCode\"") != std::string::npos;
}

// The installation a program of an IDE runs from: <install>/jbr/bin/java (the bundled runtime,
// which is what runs when an IDE starts from bin/<product>.sh) or <install>/bin/<launcher>.
std::optional<std::string> installFolderOfProgram(const std::string& path) {
    std::string folder = CVPaths::stringByDeletingLastPathComponent(path);
    if (CVPaths::lastPathComponent(folder) != "bin") {
        return std::nullopt;
    }
    std::string parent = CVPaths::stringByDeletingLastPathComponent(folder);
    if (CVPaths::lastPathComponent(parent) == "jbr") {
        return CVPaths::stringByDeletingLastPathComponent(parent);
    }
    return parent;
}

}  // namespace

bool isJetBrainsProgramPath(const std::string& path) {
    // Any JetBrains product, wherever it was unpacked (tarball, Toolbox, snap).
    if (auto install = installFolderOfProgram(path);
        install && !install->empty() && isJetBrainsInstallFolder(*install)) {
        return true;
    }
    static constexpr std::array<std::string_view, 4> kInstallFolderMarks = {
        "/JetBrains/", "jetbrains-toolbox", "/idea-IU-", "/idea-IC-"};
    for (std::string_view mark : kInstallFolderMarks) {
        if (path.find(mark) != std::string::npos) {
            return true;
        }
    }
    size_t slash = path.rfind('/');
    if (slash == std::string::npos || CVPaths::lastPathComponent(path.substr(0, slash)) != "bin") {
        return false;
    }
    std::string_view launcher = std::string_view(path).substr(slash + 1);
    if (launcher.ends_with(".sh")) {
        launcher.remove_suffix(3);
    }
    if (launcher.ends_with("64")) {
        launcher.remove_suffix(2);
    }
    static constexpr std::array<std::string_view, 12> kLaunchers = {
        "idea",   "webstorm", "phpstorm", "clion",     "pycharm",   "rubymine",
        "goland", "rider",    "datagrip", "dataspell", "rustrover", "aqua"};
    return std::find(kLaunchers.begin(), kLaunchers.end(), launcher) != kLaunchers.end();
}

bool isGitKrakenProgramPath(const std::string& path) {
    if (path.ends_with("/gitkraken/gitkraken")) {
        return true;
    }
    bool isSandboxedPackage = path.starts_with("/snap/") || path.starts_with("/app/") ||
                              path.find("/flatpak/") != std::string::npos;
    std::string lowercase = path;
    std::transform(lowercase.begin(), lowercase.end(), lowercase.begin(),
                   [](unsigned char character) { return std::tolower(character); });
    return isSandboxedPackage && lowercase.find("gitkraken") != std::string::npos;
}

}  // namespace ZPLinuxCallers
