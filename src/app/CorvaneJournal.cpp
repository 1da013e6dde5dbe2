#include "app/CorvaneJournal.h"

#include <fcntl.h>
#include <sys/time.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "platform/CVSystemLog.h"

CorvaneJournal::CorvaneJournal(std::optional<std::string> path) : path_(std::move(path)) {
    if (!path_) {
        return;
    }
    descriptor_ = open(path_->c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0600);
    if (descriptor_ < 0) {
        CVSystemLog("Could not open the journal " + *path_ + ": " + strerror(errno) + ".");
    }
}

CorvaneJournal::~CorvaneJournal() {
    if (descriptor_ >= 0) {
        close(descriptor_);
    }
}

void CorvaneJournal::record(std::string_view event, const CorvaneJSON& fields) {
    if (descriptor_ < 0) {
        return;
    }
    timeval now{};
    gettimeofday(&now, nullptr);
    CorvaneJSON entry = {
        {"time", static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_usec) / 1e6},
        {"event", event}};
    entry.update(fields);
    std::string line = CorvaneJSONText(entry) + "\n";
    ssize_t written = write(descriptor_, line.data(), line.size());
    if (written != static_cast<ssize_t>(line.size())) {
        CVSystemLog("Could not write to the journal " + *path_ + ": " + strerror(errno) + ".");
    }
}
