#include "platform/CVError.h"

CVError CVError::withLocalizedDescription(std::string text) {
    CVError error;
    error.userInfo.emplace(NSLocalizedDescriptionKey, std::move(text));
    return error;
}

std::string CVError::localizedDescription() const {
    auto found = userInfo.find(NSLocalizedDescriptionKey);
    return found == userInfo.end() ? std::string() : found->second;
}

std::string CVError::description() const {
    std::string text = "Error Domain=" + domain + " Code=" + std::to_string(code) + " \"" +
                       localizedDescription() + "\" UserInfo={";
    const char* separator = "";
    for (const auto& [key, value] : userInfo) {
        text.append(separator).append(key).append("=").append(value);
        separator = ", ";
    }
    if (underlyingError) {
        text += std::string(separator) + "NSUnderlyingError=" + underlyingError->description();
    }
    return text + "}";
}
