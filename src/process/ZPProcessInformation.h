#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

// A snapshot of one process of the machine, read from /proc. The name, parent and start time are
// read once at creation (from /proc/PID/stat alone); the arguments and the environment are read
// on first use, at most once per object. No operation reports an error: what cannot be read is
// absent. Objects are not shared between threads.
class ZPProcessInformation {
public:
    using Environment = std::map<std::string, std::string>;

    // The tool's own process.
    static std::shared_ptr<ZPProcessInformation> currentProcess();
    // The same as currentProcess()->parentProcessInformation(), without reading the tool's own
    // entry in /proc: the kernel gives the parent's identifier.
    static std::shared_ptr<ZPProcessInformation> parentOfCurrentProcess();
    // Never null, even for an identifier that names no process (its name is then absent).
    static std::shared_ptr<ZPProcessInformation> processInformationWithProcessIdentifier(
        int32_t processIdentifier);
    // The nearest ancestor started from inside an application bundle (".app/Contents/" in its
    // argument 0, not nested in another bundle); else the outermost ancestor, or the process
    // itself when it has no parent.
    static std::shared_ptr<ZPProcessInformation> parentAppOfProcess(
        const std::shared_ptr<ZPProcessInformation>& process);
    // The outermost ancestor below process 1, or the process itself when its parent is process 1
    // or absent.
    static std::shared_ptr<ZPProcessInformation> topLevelProcessOfProcess(
        const std::shared_ptr<ZPProcessInformation>& process);

    // Reads the name, parent and start time at once.
    explicit ZPProcessInformation(int32_t processIdentifier);

    int32_t processIdentifier() const { return processIdentifier_; }
    // 0 when unknown or when the process has no parent.
    int32_t parentProcessIdentifier() const { return parentProcessIdentifier_; }
    // The kernel's short command name (at most 15 bytes); absent when the process was not found
    // or the name is not valid UTF-8.
    const std::optional<std::string>& processName() const { return processName_; }
    // Whole seconds since 1970; absent when the process was not found. Worked out when asked:
    // the boot time it needs is read from /proc/stat, whose size grows with the machine.
    std::optional<int64_t> startDate() const;

    // A new object for the parent, read now; null when the parent identifier is 0.
    std::shared_ptr<ZPProcessInformation> parentProcessInformation() const;

    // The argument vector, element 0 first; absent when it cannot be read.
    const std::optional<std::vector<std::string>>& arguments();
    // The raw NAME=value entries; absent when they cannot be read (another user's process).
    const std::optional<std::vector<std::string>>& environmentArray();
    // The entries by name: entries without a name are skipped, a later entry replaces an
    // earlier one of the same name.
    const std::optional<Environment>& environment();
    // The value of "PWD" in the environment: where the process's shell was, not the kernel's
    // current directory.
    std::optional<std::string> workingDirectory();
    std::optional<std::string> valueForEnvironmentKey(const std::string& key);
    // The program file the process runs (/proc/PID/exe), read on first use; absent when it
    // cannot be read (another user's process, a kernel thread, a process that ended).
    const std::optional<std::string>& executablePath();
    // Asks the kernel anew whether a process with this identifier exists.
    bool isRunning() const;

    // "<ZPProcessInformation: 0x... PID:... Name:...>".
    std::string description() const;
    // The description with the working directory, arguments and environment when present. With
    // `disclosedVariables`, the environment shows every name but only those variables' values:
    // the others are "<not logged>", since values are secrets as often as not.
    std::string debugDescription(const std::set<std::string>* disclosedVariables = nullptr);

    // Setters of the fields read on demand. A value set here is kept: the lazy reads do not
    // replace it.
    void setArguments(std::optional<std::vector<std::string>> arguments);
    void setEnvironmentArray(std::optional<std::vector<std::string>> environmentArray);

    // What a snapshot takes from a /proc/PID/stat line: the name (between the first '(' and the
    // last ')', as the kernel wrote it), the parent and the start time in clock ticks. Nothing for
    // a malformed line or a zombie.
    struct StatLine {
        std::string name;
        int64_t parent = 0;
        uint64_t startTicks = 0;
    };
    static std::optional<StatLine> parseStatLine(std::string_view line);

private:
    void getInfo();
    void loadArguments();
    void loadEnvironment();

    bool didLoadArguments_ = false;
    bool didLoadEnvironment_ = false;
    bool didReadExecutablePath_ = false;
    int32_t processIdentifier_ = 0;
    int32_t parentProcessIdentifier_ = 0;
    std::optional<std::string> processName_;
    std::optional<uint64_t> startTicks_;  // since boot
    std::optional<std::vector<std::string>> arguments_;
    std::optional<std::string> executablePath_;
    std::optional<Environment> environment_;
    std::optional<std::vector<std::string>> environmentArray_;
    bool didBuildEnvironment_ = false;
};
