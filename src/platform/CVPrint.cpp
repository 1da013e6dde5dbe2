#include "platform/CVPrint.h"

#include "platform/CVSystemLog.h"
#include "platform/CVUserDefaults.h"

void CVPrint(FILE* stream, std::string_view text) {
    if (!text.empty()) {
        fwrite(text.data(), 1, text.size(), stream);
    }
}

bool CVDebugLoggingEnabled() {
    return CVUserDefaults::standardUserDefaults().boolForKey("debug-logging");
}

void CVDebugLog(std::string_view message) {
    if (CVDebugLoggingEnabled()) {
        CVSystemLog(message);
    }
}
