#include "platform/CVPrint.h"

#include <cctype>
#include <cerrno>
#include <cstdio>
#include <string>

#include "platform/CVSystemLog.h"
#include "platform/CVUserDefaults.h"

void CVPrint(FILE* stream, std::string_view text) {
    if (!text.empty()) {
        fwrite(text.data(), 1, text.size(), stream);
    }
}

// Strings are written bare when they hold only plain characters, else quoted with escapes.
std::string CVDescriptionOfString(std::string_view text) {
    bool plain = !text.empty();
    for (unsigned char character : text) {
        if (!(isalnum(character) != 0 || character == '_' || character == '.' || character == '/' ||
              character == '-' || character == ':' || character >= 0x80)) {
            plain = false;
            break;
        }
    }
    if (plain) {
        return std::string(text);
    }
    std::string quoted = "\"";
    for (char character : text) {
        switch (character) {
            case '"':
                quoted += "\\\"";
                break;
            case '\\':
                quoted += "\\\\";
                break;
            case '\n':
                quoted += "\\n";
                break;
            case '\t':
                quoted += "\\t";
                break;
            case '\r':
                quoted += "\\r";
                break;
            default:
                if (static_cast<unsigned char>(character) < 0x20 || character == 0x7F) {
                    char escaped[8];
                    snprintf(escaped, sizeof escaped, "\\%03o",
                             static_cast<unsigned char>(character));
                    quoted += escaped;
                } else {
                    quoted.push_back(character);
                }
        }
    }
    return quoted + "\"";
}

int CVFinishStandardStreams() {
    errno = 0;
    if (fflush(stdout) != 0 || ferror(stdout) != 0) {
        return errno != 0 ? errno : EIO;
    }
    if (fflush(stderr) != 0 || ferror(stderr) != 0) {
        return errno != 0 ? errno : EIO;
    }
    return 0;
}

bool CVDebugLoggingEnabled() {
    return CVUserDefaults::standardUserDefaults().boolForKey("debug-logging");
}

void CVDebugLog(std::string_view message) {
    if (CVDebugLoggingEnabled()) {
        CVSystemLog(message);
    }
}
