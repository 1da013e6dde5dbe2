#include "process/ZPProcessInformation.h"

#include "platform/CVReadFile.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <climits>
#include <cstdio>
#include <string_view>

#include "platform/CVPrint.h"
#include "platform/CVUTF8.h"

namespace {

// /proc/PID/stat in one read: the kernel writes the whole line at once, and it is far shorter
// than the buffer (52 numbers and a name of at most 15 bytes).
std::optional<std::string> readStatLine(int32_t processIdentifier) {
    char path[32];
    snprintf(path, sizeof path, "/proc/%d/stat", processIdentifier);
    int descriptor = open(path, O_RDONLY | O_CLOEXEC);
    if (descriptor < 0) {
        return std::nullopt;
    }
    char buffer[2048];
    ssize_t count = 0;
    do {
        count = read(descriptor, buffer, sizeof buffer);
    } while (count < 0 && errno == EINTR);
    close(descriptor);
    if (count <= 0) {
        return std::nullopt;
    }
    return std::string(buffer, static_cast<size_t>(count));
}

std::string procPath(int32_t processIdentifier, const char* file) {
    return "/proc/" + std::to_string(processIdentifier) + "/" + file;
}

// Text that is not UTF-8 is taken as ISO Latin-1, which decodes every byte.
std::string decodeText(std::string bytes) {
    if (CVIsValidUTF8(bytes)) {
        return bytes;
    }
    return CVUTF8FromLatin1(bytes);
}

// The pieces between NUL characters; the NUL that ends the block does not start another piece.
std::vector<std::string> splitAtNul(std::string_view block) {
    std::vector<std::string> pieces;
    if (block.empty()) {
        return pieces;
    }
    if (block.back() == '\0') {
        block.remove_suffix(1);
    }
    size_t start = 0;
    for (;;) {
        size_t end = block.find('\0', start);
        pieces.emplace_back(block.substr(start, end == std::string_view::npos ? end : end - start));
        if (end == std::string_view::npos) {
            return pieces;
        }
        start = end + 1;
    }
}

// The boot time in seconds since 1970, read once: it is the same for every process.
std::optional<int64_t> bootTime() {
    static const std::optional<int64_t> time = []() -> std::optional<int64_t> {
        auto stat = CVReadWholeFile("/proc/stat");
        if (!stat) {
            return std::nullopt;
        }
        size_t position = stat->find("\nbtime ");
        if (position == std::string::npos) {
            return std::nullopt;
        }
        const char* begin = stat->data() + position + 7;
        int64_t seconds = 0;
        auto result = std::from_chars(begin, stat->data() + stat->size(), seconds);
        if (result.ec != std::errc()) {
            return std::nullopt;
        }
        return seconds;
    }();
    return time;
}

std::string renderArray(const std::vector<std::string>& array) {
    std::string text = "(";
    for (size_t index = 0; index < array.size(); ++index) {
        text += (index == 0 ? "" : ", ") + CVDescriptionOfString(array[index]);
    }
    return text + ")";
}

std::string renderDictionary(const ZPProcessInformation::Environment& dictionary,
                             const std::set<std::string>* disclosedNames) {
    std::string text = "{";
    for (const auto& [name, value] : dictionary) {
        bool disclosed = disclosedNames == nullptr || disclosedNames->count(name) != 0;
        text += CVDescriptionOfString(name) + " = " +
                (disclosed ? CVDescriptionOfString(value) : "<not logged>") + "; ";
    }
    if (!dictionary.empty()) {
        text.pop_back();
    }
    return text + "}";
}

}  // namespace

std::shared_ptr<ZPProcessInformation> ZPProcessInformation::currentProcess() {
    return processInformationWithProcessIdentifier(getpid());
}

std::shared_ptr<ZPProcessInformation> ZPProcessInformation::parentOfCurrentProcess() {
    // 0 when the parent lies outside the tool's process namespace, as /proc/self/stat says too.
    pid_t parent = getppid();
    return parent > 0 ? processInformationWithProcessIdentifier(parent) : nullptr;
}

std::shared_ptr<ZPProcessInformation> ZPProcessInformation::processInformationWithProcessIdentifier(
    int32_t processIdentifier) {
    return std::make_shared<ZPProcessInformation>(processIdentifier);
}

std::shared_ptr<ZPProcessInformation> ZPProcessInformation::parentAppOfProcess(
    const std::shared_ptr<ZPProcessInformation>& process) {
    static constexpr std::string_view kBundleContents = ".app/Contents/";
    auto parent = process->parentProcessInformation();
    while (parent) {
        const auto& arguments = parent->arguments();
        if (arguments && !arguments->empty()) {
            const std::string& executable = arguments->front();
            size_t last = executable.rfind(kBundleContents);
            if (last != std::string::npos &&
                std::string_view(executable).substr(0, last).find(kBundleContents) ==
                    std::string_view::npos) {
                return parent;
            }
        }
        auto grandparent = parent->parentProcessInformation();
        if (!grandparent) {
            return parent;
        }
        parent = std::move(grandparent);
    }
    return process;
}

std::shared_ptr<ZPProcessInformation> ZPProcessInformation::topLevelProcessOfProcess(
    const std::shared_ptr<ZPProcessInformation>& process) {
    // On Linux the launch daemon is process 1 whatever its name (systemd, init, a container's
    // first process), so the walk stops below the identifier, not below a name.
    auto current = process;
    for (;;) {
        auto parent = current->parentProcessInformation();
        if (!parent || parent->processIdentifier() == 1) {
            return current;
        }
        current = std::move(parent);
    }
}

ZPProcessInformation::ZPProcessInformation(int32_t processIdentifier)
    : processIdentifier_(processIdentifier) {
    getInfo();
}

std::optional<ZPProcessInformation::StatLine> ZPProcessInformation::parseStatLine(
    std::string_view line) {
    // "pid (comm) state ppid ... starttime ...". The name may hold spaces and parentheses, so it
    // ends at the last ')'.
    size_t open = line.find('(');
    size_t close = line.rfind(')');
    if (open == std::string_view::npos || close == std::string_view::npos || close < open) {
        return std::nullopt;
    }
    std::string_view fields = line.substr(close + 1);
    // After the name: state (index 0), ppid (1), ..., starttime (19).
    static constexpr int kParentIndex = 1;
    static constexpr int kStartTimeIndex = 19;
    std::optional<int64_t> parent;
    std::optional<uint64_t> startTicks;
    int index = -1;
    size_t position = 0;
    while (index < kStartTimeIndex) {
        position = fields.find_first_not_of(' ', position);
        if (position == std::string_view::npos) {
            return std::nullopt;
        }
        size_t end = fields.find(' ', position);
        std::string_view field =
            fields.substr(position, end == std::string_view::npos ? end : end - position);
        ++index;
        if (index == 0 && (field == "Z" || field == "X")) {
            // A zombie has ended; only its parent has yet to collect its status. It counts as
            // gone, so that a wait for an application that quit ends at the next poll.
            return std::nullopt;
        }
        if (index == kParentIndex) {
            int64_t value = 0;
            if (std::from_chars(field.data(), field.data() + field.size(), value).ec !=
                std::errc()) {
                return std::nullopt;
            }
            parent = value;
        } else if (index == kStartTimeIndex) {
            uint64_t value = 0;
            if (std::from_chars(field.data(), field.data() + field.size(), value).ec !=
                std::errc()) {
                return std::nullopt;
            }
            startTicks = value;
        }
        if (end == std::string_view::npos) {
            break;
        }
        position = end;
    }
    if (!parent || !startTicks) {
        return std::nullopt;
    }
    return StatLine{std::string(line.substr(open + 1, close - open - 1)), *parent, *startTicks};
}

void ZPProcessInformation::getInfo() {
    if (processIdentifier_ <= 0) {
        return;
    }
    auto line = readStatLine(processIdentifier_);
    std::optional<StatLine> stat = line ? parseStatLine(*line) : std::nullopt;
    if (!stat) {
        return;
    }
    parentProcessIdentifier_ = static_cast<int32_t>(stat->parent);
    startTicks_ = stat->startTicks;
    if (CVIsValidUTF8(stat->name)) {
        processName_ = std::move(stat->name);
    }
}

std::optional<int64_t> ZPProcessInformation::startDate() const {
    static const long ticksPerSecond = sysconf(_SC_CLK_TCK);
    auto boot = bootTime();
    if (!startTicks_ || !boot || ticksPerSecond <= 0) {
        return std::nullopt;
    }
    return *boot + static_cast<int64_t>(*startTicks_ / static_cast<uint64_t>(ticksPerSecond));
}

std::shared_ptr<ZPProcessInformation> ZPProcessInformation::parentProcessInformation() const {
    if (parentProcessIdentifier_ == 0) {
        return nullptr;
    }
    return processInformationWithProcessIdentifier(parentProcessIdentifier_);
}

void ZPProcessInformation::loadArguments() {
    // Marked first so that a failed read is not retried.
    didLoadArguments_ = true;
    auto block = CVReadWholeFile(procPath(processIdentifier_, "cmdline"));
    if (!block) {
        return;
    }
    arguments_ = splitAtNul(decodeText(std::move(*block)));
}

void ZPProcessInformation::loadEnvironment() {
    didLoadEnvironment_ = true;
    auto block = CVReadWholeFile(procPath(processIdentifier_, "environ"));
    if (!block) {
        return;
    }
    auto entries = splitAtNul(decodeText(std::move(*block)));
    // The environment ends at its first empty entry, as the kernel's block does.
    for (size_t index = 0; index < entries.size(); ++index) {
        if (entries[index].empty()) {
            entries.resize(index);
            break;
        }
    }
    environmentArray_ = std::move(entries);
}

const std::optional<std::vector<std::string>>& ZPProcessInformation::arguments() {
    if (!didLoadArguments_) {
        loadArguments();
    }
    return arguments_;
}

const std::optional<std::vector<std::string>>& ZPProcessInformation::environmentArray() {
    if (!didLoadEnvironment_) {
        loadEnvironment();
    }
    return environmentArray_;
}

const std::optional<ZPProcessInformation::Environment>& ZPProcessInformation::environment() {
    if (didBuildEnvironment_) {
        return environment_;
    }
    didBuildEnvironment_ = true;
    const auto& entries = environmentArray();
    if (!entries) {
        return environment_;
    }
    Environment dictionary;
    for (const std::string& entry : *entries) {
        size_t equals = entry.find('=');
        if (equals == std::string::npos || equals == 0) {
            continue;
        }
        dictionary.insert_or_assign(entry.substr(0, equals), entry.substr(equals + 1));
    }
    environment_ = std::move(dictionary);
    return environment_;
}

std::optional<std::string> ZPProcessInformation::workingDirectory() {
    return valueForEnvironmentKey("PWD");
}

std::optional<std::string> ZPProcessInformation::valueForEnvironmentKey(const std::string& key) {
    const auto& dictionary = environment();
    if (!dictionary) {
        return std::nullopt;
    }
    auto found = dictionary->find(key);
    if (found == dictionary->end()) {
        return std::nullopt;
    }
    return found->second;
}

const std::optional<std::string>& ZPProcessInformation::executablePath() {
    if (!didReadExecutablePath_) {
        didReadExecutablePath_ = true;
        char target[PATH_MAX];
        ssize_t length =
            readlink(procPath(processIdentifier_, "exe").c_str(), target, sizeof target);
        if (length > 0 && static_cast<size_t>(length) < sizeof target) {
            executablePath_.emplace(target, static_cast<size_t>(length));
        }
    }
    return executablePath_;
}

bool ZPProcessInformation::isRunning() const {
    if (!processName_) {
        return false;
    }
    // The identifier alone is compared: a reused identifier counts as running.
    return ZPProcessInformation(processIdentifier_).processName().has_value();
}

void ZPProcessInformation::setArguments(std::optional<std::vector<std::string>> arguments) {
    arguments_ = std::move(arguments);
    didLoadArguments_ = true;
}

void ZPProcessInformation::setEnvironmentArray(
    std::optional<std::vector<std::string>> environmentArray) {
    environmentArray_ = std::move(environmentArray);
    didLoadEnvironment_ = true;
    didBuildEnvironment_ = false;
    environment_.reset();
}

std::string ZPProcessInformation::description() const {
    char head[96];
    snprintf(head, sizeof head,
             "<ZPProcessInformation: %p PID:%u Name:", static_cast<const void*>(this),
             static_cast<uint32_t>(processIdentifier_));
    return head + processName_.value_or("(null)") + ">";
}

std::string ZPProcessInformation::debugDescription(
    const std::set<std::string>* disclosedVariables) {
    std::string text = description();
    text.pop_back();
    if (auto directory = workingDirectory(); directory && !directory->empty()) {
        text += " PWD:" + *directory;
    }
    if (const auto& argumentList = arguments(); argumentList && !argumentList->empty()) {
        text += " Arguments:" + renderArray(*argumentList);
    }
    if (const auto& dictionary = environment(); dictionary && !dictionary->empty()) {
        text += " Environment:" + renderDictionary(*dictionary, disclosedVariables);
    }
    return text + ">";
}
