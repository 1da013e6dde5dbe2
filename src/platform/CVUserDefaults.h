#pragma once

#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "platform/CVFileIdentity.h"
#include "platform/CVPropertyList.h"

// A defaults domain: a property-list dictionary in $XDG_CONFIG_HOME/corvane/<domain>.plist. A
// missing or unreadable file is an empty domain. Every read sees the file as it is now (the parsed
// dictionary is reused only while the file is unchanged); every write is atomic. Thread-safe.
class CVUserDefaults {
public:
    static constexpr const char* kToolDomain = "com.corvane.Corvane.cvdiff";

    // The tool's own domain ("debug-logging", "LastKnownCVPID").
    static CVUserDefaults& standardUserDefaults();
    // The file that holds a domain.
    static std::string pathForDomain(const std::string& domain);

    explicit CVUserDefaults(const std::string& domain);

    const std::string& path() const { return path_; }

    bool hasObjectForKey(const std::string& key);
    // A boolean, a non-zero integer, or the strings "YES"/"true"/"1" read as true; else false.
    bool boolForKey(const std::string& key);
    std::optional<int64_t> integerForKey(const std::string& key);
    std::optional<std::string> stringForKey(const std::string& key);
    std::optional<std::vector<uint8_t>> dataForKey(const std::string& key);
    // The whole domain as XML text (for the defaults command).
    std::string xmlText();

    bool setBool(bool value, const std::string& key);
    bool setInteger(int64_t value, const std::string& key);
    bool setString(const std::string& value, const std::string& key);
    bool setData(const std::vector<uint8_t>& value, const std::string& key);
    bool removeObjectForKey(const std::string& key);
    // Removes the whole domain.
    bool removeDomain();

private:
    // Re-reads the file when it changed since the last read. Called with mutex_ held.
    plist_t currentDictionary();
    // The value stored under the key in the current dictionary, or null. Called with mutex_ held.
    plist_t nodeForKey(const std::string& key);
    bool store(const std::string& key, plist_t value);

    std::string path_;
    std::mutex mutex_;
    CVPlist dictionary_;
    // The version of the file `dictionary_` was read from; nothing when it is to be read again.
    std::optional<CVFileIdentity> readIdentity_;
};
