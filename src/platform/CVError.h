#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>

// The user-info key that holds an error's message.
inline constexpr const char* NSLocalizedDescriptionKey = "NSLocalizedDescription";

// An error object: a domain, a code and a user-info dictionary of strings, with an optional
// underlying error. Every error the tool makes is in "CVDiffErrorDomain" with code 1.
struct CVError {
    static constexpr const char* kDomain = "CVDiffErrorDomain";

    std::string domain = kDomain;
    long code = 1;
    std::map<std::string, std::string> userInfo;
    std::shared_ptr<const CVError> underlyingError;

    // An error of the tool's domain, code 1, whose only user-info entry is the message.
    static CVError withLocalizedDescription(std::string text);

    // The message under NSLocalizedDescriptionKey, or "" when there is none.
    std::string localizedDescription() const;
    // Diagnostic text: domain, code, description and user info, as the debug log shows errors.
    std::string description() const;

    bool operator==(const CVError&) const = default;
};

// Fills an optional error out-parameter; does nothing when the caller passed none.
inline void CVSetError(std::optional<CVError>* out, CVError error) {
    if (out != nullptr) {
        *out = std::move(error);
    }
}
