#pragma once

#include <optional>
#include <string>
#include <string_view>

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

    // Appends {"time":…,"event":<event>, <fields>}; fields is the rest of an object's members,
    // already JSON ("\"member\":\"processID\""), or empty.
    void record(std::string_view event, std::string_view fields);

private:
    std::optional<std::string> path_;
    int descriptor_ = -1;
};
