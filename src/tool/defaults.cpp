// `defaults`: reads and writes the defaults domains that cvdiff and Corvane keep in
// $XDG_CONFIG_HOME/corvane, so that instructions such as
// "defaults write com.corvane.Corvane.cvdiff debug-logging -bool YES" work as printed.
#include <sys/stat.h>

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "platform/CVPrint.h"
#include "platform/CVUserDefaults.h"

namespace {

constexpr const char* kUsage =
    "usage: defaults read DOMAIN [KEY]\n"
    "       defaults write DOMAIN KEY [-bool|-int|-string|-data] VALUE\n"
    "       defaults delete DOMAIN [KEY]\n";

int usage() {
    CVPrint(stderr, kUsage);
    return 1;
}

bool domainExists(const CVUserDefaults& defaults) {
    struct stat status {};
    return stat(defaults.path().c_str(), &status) == 0;
}

int readDefault(CVUserDefaults& defaults, const std::string& domain,
                const std::optional<std::string>& key) {
    if (!domainExists(defaults)) {
        CVPrint(stderr, "Domain " + domain + " does not exist\n");
        return 1;
    }
    if (!key) {
        CVPrint(stdout, defaults.xmlText());
        return 0;
    }
    if (!defaults.hasObjectForKey(*key)) {
        CVPrint(stderr,
                "The domain/default pair of (" + domain + ", " + *key + ") does not exist\n");
        return 1;
    }
    if (auto text = defaults.stringForKey(*key)) {
        CVPrint(stdout, *text + "\n");
    } else if (auto number = defaults.integerForKey(*key)) {
        CVPrint(stdout, std::to_string(*number) + "\n");
    } else if (auto data = defaults.dataForKey(*key)) {
        std::string hex = "<";
        char byte[3];
        for (uint8_t value : *data) {
            snprintf(byte, sizeof byte, "%02x", value);
            hex += byte;
        }
        CVPrint(stdout, hex + ">\n");
    } else {
        CVPrint(stdout, defaults.boolForKey(*key) ? "1\n" : "0\n");
    }
    return 0;
}

std::optional<bool> parseBool(const std::string& text) {
    for (const char* yes : {"YES", "yes", "TRUE", "true", "1", "Y", "y"}) {
        if (text == yes) {
            return true;
        }
    }
    for (const char* no : {"NO", "no", "FALSE", "false", "0", "N", "n"}) {
        if (text == no) {
            return false;
        }
    }
    return std::nullopt;
}

// Bytes written as hexadecimal digits, two a byte ("43564b01"); nothing for anything else.
std::optional<std::vector<uint8_t>> parseHex(const std::string& text) {
    if (text.size() % 2 != 0) {
        return std::nullopt;
    }
    std::vector<uint8_t> bytes;
    for (size_t index = 0; index < text.size(); index += 2) {
        const std::string pair = text.substr(index, 2);
        if (isxdigit(static_cast<unsigned char>(pair[0])) == 0 ||
            isxdigit(static_cast<unsigned char>(pair[1])) == 0) {
            return std::nullopt;
        }
        bytes.push_back(static_cast<uint8_t>(std::stoul(pair, nullptr, 16)));
    }
    return bytes;
}

int writeDefault(CVUserDefaults& defaults, const std::string& key, const std::string& type,
                 const std::string& value) {
    bool written = false;
    if (type == "-bool" || type == "-boolean") {
        std::optional<bool> flag = parseBool(value);
        if (!flag) {
            CVPrint(stderr, "defaults: \"" + value + "\" is not a boolean (YES or NO)\n");
            return 1;
        }
        written = defaults.setBool(*flag, key);
    } else if (type == "-int" || type == "-integer") {
        char* end = nullptr;
        long long number = strtoll(value.c_str(), &end, 10);
        if (value.empty() || *end != '\0') {
            CVPrint(stderr, "defaults: \"" + value + "\" is not an integer\n");
            return 1;
        }
        written = defaults.setInteger(number, key);
    } else if (type == "-data") {
        std::optional<std::vector<uint8_t>> bytes = parseHex(value);
        if (!bytes) {
            CVPrint(stderr, "defaults: \"" + value + "\" is not data in hexadecimal digits\n");
            return 1;
        }
        written = defaults.setData(*bytes, key);
    } else if (type == "-string" || type.empty()) {
        written = defaults.setString(value, key);
    } else {
        return usage();
    }
    if (!written) {
        CVPrint(stderr, "defaults: could not write " + defaults.path() + "\n");
        return 1;
    }
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    std::vector<std::string> arguments(argv + 1, argv + argc);
    if (arguments.size() < 2) {
        return usage();
    }
    const std::string& verb = arguments[0];
    const std::string& domain = arguments[1];
    if (domain.empty() || domain.find('/') != std::string::npos) {
        CVPrint(stderr, "defaults: \"" + domain + "\" is not a domain name\n");
        return 1;
    }
    CVUserDefaults defaults(domain);
    std::optional<std::string> key;
    if (arguments.size() > 2) {
        key = arguments[2];
    }

    if (verb == "read" && arguments.size() <= 3) {
        return readDefault(defaults, domain, key);
    }
    if (verb == "write" && arguments.size() == 4) {
        return writeDefault(defaults, *key, "", arguments[3]);
    }
    if (verb == "write" && arguments.size() == 5) {
        return writeDefault(defaults, *key, arguments[3], arguments[4]);
    }
    if (verb == "delete" && arguments.size() <= 3) {
        if (!domainExists(defaults)) {
            CVPrint(stderr, "Domain " + domain + " does not exist\n");
            return 1;
        }
        if (!key) {
            return defaults.removeDomain() ? 0 : 1;
        }
        if (!defaults.hasObjectForKey(*key)) {
            CVPrint(stderr,
                    "The domain/default pair of (" + domain + ", " + *key + ") does not exist\n");
            return 1;
        }
        return defaults.removeObjectForKey(*key) ? 0 : 1;
    }
    return usage();
}
