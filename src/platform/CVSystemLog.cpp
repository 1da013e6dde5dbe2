#include "platform/CVSystemLog.h"

#include <sys/time.h>
#include <unistd.h>

#include <cstdio>
#include <ctime>
#include <string>

#include "platform/CVProcessName.h"

void CVSystemLog(std::string_view message) {
    timeval now{};
    gettimeofday(&now, nullptr);
    tm local{};
    localtime_r(&now.tv_sec, &local);
    char stamp[64];
    size_t length = strftime(stamp, sizeof stamp, "%Y-%m-%d %H:%M:%S", &local);
    std::string line(stamp, length);
    char tail[64];
    snprintf(tail, sizeof tail, ".%03ld ", static_cast<long>(now.tv_usec / 1000));
    line += tail;
    line += CVProcessName();
    line += "[" + std::to_string(getpid()) + "] ";
    line += message;
    if (line.empty() || line.back() != '\n') {
        line += '\n';
    }
    fwrite(line.data(), 1, line.size(), stderr);
    fflush(stderr);
}
