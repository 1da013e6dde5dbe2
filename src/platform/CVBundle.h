#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "platform/CVPropertyList.h"

// A bundle: a folder NAME.app with Contents/Info.plist (XML or binary) and its executables in
// Contents/MacOS/. The tool's own bundle information is compiled into it instead.
class CVBundle {
public:
    // Nothing when no folder exists at the path. A folder without a readable Info.plist is a
    // bundle with an empty information dictionary. An Info.plist is parsed once per process while
    // it stays the same file.
    static std::optional<CVBundle> bundleWithPath(const std::string& path);
    // A bundle whose information is the given property-list text.
    static CVBundle bundleWithInfoPlistText(std::string_view text, std::string bundlePath = {});
    // The bundle whose Contents/MacOS/ folder holds the executable directly; nothing for a path
    // laid out otherwise.
    static std::optional<std::string> bundlePathOfExecutable(std::string_view executable);

    const std::string& bundlePath() const { return bundlePath_; }
    std::optional<std::string> bundleIdentifier() const;
    // A string value of the information dictionary; an integer value is given as its decimal text.
    std::optional<std::string> objectForInfoDictionaryKey(const std::string& key) const;
    // Contents/MacOS/<CFBundleExecutable>, when the key is present.
    std::optional<std::string> executablePath() const;

private:
    // The information dictionary, never changed once read: copies of a bundle share it.
    using Information = std::shared_ptr<void>;

    CVBundle(std::string bundlePath, Information info);
    static Information informationOf(CVPlist info);

    std::string bundlePath_;
    Information info_;
};
