#pragma once

#include <sys/types.h>

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

// Child processes, all started one way: posix_spawn, with the streams, folder and environment
// asked for, and the signal mask and dispositions the child would have from a fresh login (the
// tool's blocked or ignored signals are not passed on).

// Where a child's standard output or error goes.
struct CVChildOutput {
    enum class Kind {
        inherit,  // this process's stream
        discard,  // /dev/null
        capture,  // a pipe read by finish()
        file,     // the file at `path`, created or emptied (mode 0600)
    };
    Kind kind = Kind::inherit;
    std::string path;

    static CVChildOutput captured() { return {Kind::capture, {}}; }
    static CVChildOutput discarded() { return {Kind::discard, {}}; }
    static CVChildOutput toFile(std::string path) { return {Kind::file, std::move(path)}; }
};

struct CVSubprocessOptions {
    // Argument 0 first. Unless `program` says otherwise it names the program: a path, or a name
    // searched on this process's PATH.
    std::vector<std::string> arguments;
    // The program to run when argument 0 should say something else.
    std::optional<std::string> program = std::nullopt;
    // The whole environment, "NAME=value" each; nothing: this process's.
    std::optional<std::vector<std::string>> environment = std::nullopt;
    // Where the child starts; nothing: this process's working folder.
    std::optional<std::string> workingDirectory = std::nullopt;
    // Written to the child's standard input through a pipe, which is then closed; nothing: the
    // child reads /dev/null.
    std::optional<std::string> standardInput = std::nullopt;
    CVChildOutput standardOutput = {};
    CVChildOutput standardError = {};
    // A process group of its own, so that signal() reaches whatever it starts in turn.
    bool ownProcessGroup = false;
};

// How a child ended and what it printed on the captured streams.
struct CVSubprocessResult {
    // The exit status; 128 + the signal's number when a signal ended it.
    int status = -1;
    std::string standardOutput;
    std::string standardError;
    // The deadline passed first: the child (its group, when it has one) was killed.
    bool timedOut = false;
};

class CVSubprocess {
public:
    // Starts the child. Null, with the reason in `whyNot` (may be null), when it could not be
    // started or its program could not be executed.
    static std::unique_ptr<CVSubprocess> start(const CVSubprocessOptions& options,
                                               std::string* whyNot);
    // A child still running is killed (with its group) and reaped.
    ~CVSubprocess();
    CVSubprocess(const CVSubprocess&) = delete;
    CVSubprocess& operator=(const CVSubprocess&) = delete;

    pid_t processID() const { return processID_; }
    // Whether it still runs (reaping it when it has ended).
    bool isRunning();
    // Sends the signal to the child, or to its group when it has one.
    void signal(int number);
    // The writing end of the child's input pipe, handed over: the caller feeds and closes it, and
    // finish() leaves it alone. -1 when the child has no input pipe.
    int takeInputDescriptor();
    // Writes its input, reads the captured streams to their ends and reaps it. When the deadline
    // passes first the child is killed and the result says timedOut.
    CVSubprocessResult finish(std::chrono::milliseconds deadline = std::chrono::hours(24 * 365));

private:
    CVSubprocess() = default;
    bool reap(bool block);
    void kill();
    // Waits up to `timeout` milliseconds for the streams or the child's end, then writes the
    // input the child can take and reads the output it gave.
    void exchange(int timeout, CVSubprocessResult& result);

    pid_t processID_ = -1;
    bool ownProcessGroup_ = false;
    int exitedDescriptor_ = -1;  // a pidfd: readable once the child has ended
    int inputDescriptor_ = -1;
    int outputDescriptor_ = -1;
    int errorDescriptor_ = -1;
    std::string input_;
    size_t inputWritten_ = 0;
    std::optional<int> status_;
};

// Runs the child to its end: start() and finish(). Nothing, with the reason in `whyNot`, when it
// could not be started.
std::optional<CVSubprocessResult> CVRunSubprocess(
    const CVSubprocessOptions& options, std::string* whyNot,
    std::chrono::milliseconds deadline = std::chrono::hours(24 * 365));

// Starts the program as an application is launched: in a session of its own, in the root folder,
// its standard streams on /dev/null, holding none of this process's descriptors, and adopted by
// init rather than left a child of this process (which then never has to reap it). Its process
// identifier, or nothing with the errno in `error`.
std::optional<pid_t> CVStartDetached(const CVSubprocessOptions& options, int* error);
