#include "platform/CVUserDefaults.h"

#include <unistd.h>

#include "platform/CVPaths.h"

CVUserDefaults& CVUserDefaults::standardUserDefaults() {
    static CVUserDefaults defaults(kToolDomain);
    return defaults;
}

std::string CVUserDefaults::pathForDomain(const std::string& domain) {
    return CVPaths::appendingPathComponent(CVPaths::configHome(), "corvane/" + domain + ".plist");
}

CVUserDefaults::CVUserDefaults(const std::string& domain) : path_(pathForDomain(domain)) {}

plist_t CVUserDefaults::currentDictionary() {
    std::optional<CVFileIdentity> now = CVFileIdentityOfPath(path_);
    if (!now) {
        dictionary_.reset();
        readIdentity_.reset();
        return nullptr;
    }
    if (now != readIdentity_) {
        dictionary_ = CVPropertyList::readFile(path_);
        if (dictionary_ && plist_get_node_type(dictionary_.get()) != PLIST_DICT) {
            dictionary_.reset();
        }
        readIdentity_ = now;
    }
    return dictionary_.get();
}

plist_t CVUserDefaults::nodeForKey(const std::string& key) {
    plist_t dictionary = currentDictionary();
    return dictionary == nullptr ? nullptr : plist_dict_get_item(dictionary, key.c_str());
}

bool CVUserDefaults::hasObjectForKey(const std::string& key) {
    std::lock_guard lock(mutex_);
    return nodeForKey(key) != nullptr;
}

bool CVUserDefaults::boolForKey(const std::string& key) {
    std::lock_guard lock(mutex_);
    plist_t node = nodeForKey(key);
    if (auto flag = CVPropertyList::boolValue(node)) {
        return *flag;
    }
    if (auto number = CVPropertyList::integerValue(node)) {
        return *number != 0;
    }
    if (auto text = CVPropertyList::stringValue(node)) {
        return *text == "YES" || *text == "yes" || *text == "true" || *text == "1";
    }
    return false;
}

std::optional<int64_t> CVUserDefaults::integerForKey(const std::string& key) {
    std::lock_guard lock(mutex_);
    plist_t node = nodeForKey(key);
    if (auto number = CVPropertyList::integerValue(node)) {
        return number;
    }
    if (auto text = CVPropertyList::stringValue(node)) {
        return strtoll(text->c_str(), nullptr, 10);
    }
    return std::nullopt;
}

std::optional<std::string> CVUserDefaults::stringForKey(const std::string& key) {
    std::lock_guard lock(mutex_);
    return CVPropertyList::stringValue(nodeForKey(key));
}

std::optional<std::vector<uint8_t>> CVUserDefaults::dataForKey(const std::string& key) {
    std::lock_guard lock(mutex_);
    return CVPropertyList::dataValue(nodeForKey(key));
}

std::string CVUserDefaults::xmlText() {
    std::lock_guard lock(mutex_);
    plist_t dictionary = currentDictionary();
    if (dictionary == nullptr) {
        CVPlist empty(plist_new_dict());
        return CVPropertyList::toData(empty.get(), CVPropertyList::Format::xml);
    }
    return CVPropertyList::toData(dictionary, CVPropertyList::Format::xml);
}

bool CVUserDefaults::store(const std::string& key, plist_t value) {
    std::lock_guard lock(mutex_);
    plist_t current = currentDictionary();
    CVPlist updated(current == nullptr ? plist_new_dict() : plist_copy(current));
    if (value == nullptr) {
        if (plist_dict_get_item(updated.get(), key.c_str()) == nullptr) {
            return true;
        }
        plist_dict_remove_item(updated.get(), key.c_str());
    } else {
        plist_dict_set_item(updated.get(), key.c_str(), value);
    }
    readIdentity_.reset();
    return CVPropertyList::writeFileAtomically(path_, updated.get(),
                                               CVPropertyList::Format::binary);
}

bool CVUserDefaults::setBool(bool value, const std::string& key) {
    return store(key, plist_new_bool(value ? 1 : 0));
}

bool CVUserDefaults::setInteger(int64_t value, const std::string& key) {
    return store(key, plist_new_uint(static_cast<uint64_t>(value)));
}

bool CVUserDefaults::setString(const std::string& value, const std::string& key) {
    return store(key, plist_new_string(value.c_str()));
}

bool CVUserDefaults::setData(const std::vector<uint8_t>& value, const std::string& key) {
    return store(key, plist_new_data(reinterpret_cast<const char*>(value.data()), value.size()));
}

bool CVUserDefaults::removeObjectForKey(const std::string& key) {
    return store(key, nullptr);
}

bool CVUserDefaults::removeDomain() {
    std::lock_guard lock(mutex_);
    readIdentity_.reset();
    dictionary_.reset();
    return unlink(path_.c_str()) == 0 || errno == ENOENT;
}
