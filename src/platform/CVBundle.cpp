#include "platform/CVBundle.h"

#include <sys/stat.h>

#include <map>
#include <mutex>

#include "platform/CVFileIdentity.h"
#include "platform/CVPaths.h"

namespace {

constexpr std::string_view kExecutableFolderTail = "/Contents/MacOS/";

}  // namespace

CVBundle::CVBundle(std::string bundlePath, Information info)
    : bundlePath_(std::move(bundlePath)), info_(std::move(info)) {}

CVBundle::Information CVBundle::informationOf(CVPlist info) {
    if (!info || plist_get_node_type(info.get()) != PLIST_DICT) {
        return nullptr;
    }
    return {info.release(), plist_free};
}

std::optional<CVBundle> CVBundle::bundleWithPath(const std::string& path) {
    struct stat status {};
    if (path.empty() || stat(path.c_str(), &status) != 0 || !S_ISDIR(status.st_mode)) {
        return std::nullopt;
    }
    // A scan of the process table meets one bundle in several processes, and a copy found running
    // has its version checked next: each version of an Info.plist is parsed once.
    struct Known {
        CVFileIdentity identity;
        Information info;
    };
    static std::mutex lock;
    static std::map<std::string, Known> known;

    std::string infoPath = CVPaths::appendingPathComponent(path, "Contents/Info.plist");
    std::optional<CVFileIdentity> identity = CVFileIdentityOfPath(infoPath);
    if (identity) {
        std::lock_guard<std::mutex> guard(lock);
        auto found = known.find(infoPath);
        if (found != known.end() && found->second.identity == *identity) {
            return CVBundle(path, found->second.info);
        }
    }
    Information info = informationOf(CVPropertyList::readFile(infoPath));
    if (identity) {
        std::lock_guard<std::mutex> guard(lock);
        known.insert_or_assign(infoPath, Known{*identity, info});
    }
    return CVBundle(path, std::move(info));
}

CVBundle CVBundle::bundleWithInfoPlistText(std::string_view text, std::string bundlePath) {
    return {std::move(bundlePath), informationOf(CVPropertyList::fromData(text))};
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
