#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "app/CorvaneJSON.h"

// The application's journal: one JSON object a line for every call it receives and every
// notification it posts, appended with one write each so that a reader never sees half a line.
// A journal without a path writes nothing.
class CorvaneJournal {
public:
    // Opens (creating it) the file for appending; errors go to the system log and leave the
    // journal closed.
    explicit CorvaneJournal(std::optional<std::string> path);
    ~CorvaneJournal();
    CorvaneJournal(const CorvaneJournal&) = delete;
    CorvaneJournal& operator=(const CorvaneJournal&) = delete;

    bool isOpen() const { return descriptor_ >= 0; }
    const std::optional<std::string>& path() const { return path_; }

    // Appends {"time":…,"event":<event>, …}: the time in seconds since the epoch, then the
    // event's name and the fields' members.
    void record(std::string_view event, const CorvaneJSON& fields = CorvaneJSON::object());

private:
    std::optional<std::string> path_;
    int descriptor_ = -1;
};
