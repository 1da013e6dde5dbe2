#include "platform/CVBundle.h"

#include <sys/stat.h>

#include "platform/CVPaths.h"

namespace {

constexpr std::string_view kExecutableFolderTail = "/Contents/MacOS/";

}  // namespace

CVBundle::CVBundle(std::string bundlePath, CVPlist info)
    : bundlePath_(std::move(bundlePath)), info_(std::move(info)) {}

CVBundle::CVBundle(const CVBundle& other)
    : bundlePath_(other.bundlePath_),
      info_(other.info_ ? plist_copy(other.info_.get()) : nullptr) {}

CVBundle& CVBundle::operator=(const CVBundle& other) {
    if (this != &other) {
        bundlePath_ = other.bundlePath_;
        info_.reset(other.info_ ? plist_copy(other.info_.get()) : nullptr);
    }
    return *this;
}

std::optional<CVBundle> CVBundle::bundleWithPath(const std::string& path) {
    struct stat status {};
    if (path.empty() || stat(path.c_str(), &status) != 0 || !S_ISDIR(status.st_mode)) {
        return std::nullopt;
    }
    CVPlist info =
        CVPropertyList::readFile(CVPaths::appendingPathComponent(path, "Contents/Info.plist"));
    if (info && plist_get_node_type(info.get()) != PLIST_DICT) {
        info.reset();
    }
    return CVBundle(path, std::move(info));
}

CVBundle CVBundle::bundleWithInfoPlistText(std::string_view text, std::string bundlePath) {
    CVPlist info = CVPropertyList::fromData(text);
    if (info && plist_get_node_type(info.get()) != PLIST_DICT) {
        info.reset();
    }
    return {std::move(bundlePath), std::move(info)};
}

std::optional<std::string> CVBundle::bundleIdentifier() const {
    return objectForInfoDictionaryKey("CFBundleIdentifier");
}

std::optional<std::string> CVBundle::objectForInfoDictionaryKey(const std::string& key) const {
    if (!info_) {
        return std::nullopt;
    }
    plist_t node = plist_dict_get_item(info_.get(), key.c_str());
    if (auto text = CVPropertyList::stringValue(node)) {
        return text;
    }
    if (auto number = CVPropertyList::integerValue(node)) {
        return std::to_string(*number);
    }
    return std::nullopt;
}

std::optional<std::string> CVBundle::executablePath() const {
    auto executable = objectForInfoDictionaryKey("CFBundleExecutable");
    if (!executable) {
        return std::nullopt;
    }
    return CVPaths::appendingPathComponent(bundlePath_, "Contents/MacOS/" + *executable);
}

std::optional<std::string> CVBundle::bundlePathOfExecutable(std::string_view executable) {
    size_t slash = executable.rfind('/');
    if (slash == std::string_view::npos || slash + 1 == executable.size()) {
        return std::nullopt;
    }
    std::string_view folder = executable.substr(0, slash + 1);
    if (folder.size() <= kExecutableFolderTail.size() || !folder.ends_with(kExecutableFolderTail)) {
        return std::nullopt;
    }
    return std::string(folder.substr(0, folder.size() - kExecutableFolderTail.size()));
}
