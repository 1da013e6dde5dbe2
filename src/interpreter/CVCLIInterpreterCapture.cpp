// Standard input and descriptor paths ("/dev/stdin", "/dev/fd/N") vanish when the tool exits and
// cannot be opened by the application: they are copied into private temporary files first.
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <cstring>
#include <string_view>

#include "interpreter/CVCLIInterpreter.h"
#include "platform/CVFiles.h"
#include "platform/CVPrint.h"
#include "platform/CVStreamCopy.h"
#include "platform/CVTemporaryFolder.h"

namespace {

bool isFileDescriptorPath(const std::string& path) {
    return path == "/dev/stdin" || path.starts_with("/dev/fd/");
}

// "cvdiff-" and four lower-case hex digits: the random number's lowest byte, then its second.
std::string captureFileName(uint32_t random) {
    char name[32];
    snprintf(name, sizeof name, "cvdiff-%02x%02x.stdin", random & 0xFF, (random >> 8) & 0xFF);
    return name;
}

// The tool's own descriptor that the path names, duplicated: reading it continues where the
// descriptor stands (a second "/dev/stdin" finds the end of what the first one read), and a
// descriptor open for writing only fails at once instead of reopening the other end of its pipe.
// A name that is not a number is opened as a path.
int openFileDescriptorPath(const std::string& path) {
    static constexpr std::string_view kFolder = "/dev/fd/";
    if (path != "/dev/stdin" && !path.starts_with(kFolder)) {
        return open(path.c_str(), O_RDONLY | O_CLOEXEC);
    }
    std::string_view number = path == "/dev/stdin" ? std::string_view("0")
                                                   : std::string_view(path).substr(kFolder.size());
    int descriptor = -1;
    auto [end, error] = std::from_chars(number.data(), number.data() + number.size(), descriptor);
    if (error != std::errc() || end != number.data() + number.size() || descriptor < 0) {
        return open(path.c_str(), O_RDONLY | O_CLOEXEC);
    }
    int flags = fcntl(descriptor, F_GETFL);
    if (flags < 0 || (flags & O_ACCMODE) == O_WRONLY) {
        return -1;
    }
    return fcntl(descriptor, F_DUPFD_CLOEXEC, 0);
}

void drain(int fileDescriptor) {
    int sink = open("/dev/null", O_WRONLY | O_CLOEXEC);
    if (sink >= 0) {
        CVCopyToEndOfInput(fileDescriptor, sink);
        close(sink);
    }
}

}  // namespace

std::vector<CVFileDictionary> CVCLIInterpreter::readFileDescriptorPathsIntoTempFiles(
    const std::vector<CVFileDictionary>& files) {
    std::vector<CVFileDictionary> result;
    result.reserve(files.size());
    for (const CVFileDictionary& file : files) {
        if (!isFileDescriptorPath(file.path)) {
            result.push_back(file);
        } else if (auto copy = tempFileFromFileDescriptorPath(file.path)) {
            result.push_back(std::move(*copy));
        } else {
            CVPrint(stderr, "bad file descriptor: " + file.path + "\n");
        }
    }
    return result;
}

std::optional<CVFileDictionary> CVCLIInterpreter::tempFileFromFileDescriptorPath(
    const std::string& path) {
    CVDebugLog([&] { return "Reading from file descriptor path " + path; });
    int fileDescriptor = openFileDescriptorPath(path);
    if (fileDescriptor < 0) {
        // Nothing can be read, so nothing would be written.
        return std::nullopt;
    }
    std::optional<CVFileDictionary> copy = tempFileFromFileDescriptor(fileDescriptor);
    close(fileDescriptor);
    return copy;
}

std::optional<CVFileDictionary> CVCLIInterpreter::tempFileFromFileDescriptor(int fileDescriptor) {
    std::optional<std::string> path = readFileDescriptorPathIntoTempFile(fileDescriptor);
    if (!path) {
        return std::nullopt;
    }
    return CVFileDictionary{.path = *path, .isTemporary = std::nullopt, .deleteOnExit = true};
}

std::optional<std::string> CVCLIInterpreter::readFileDescriptorPathIntoTempFile(
    int fileDescriptor) {
    // The first block is read before anything is made: an empty input (standard input on
    // /dev/null, a pipe closed at once) costs one read, not a folder made and removed. One page
    // is enough to tell; the copy below moves the rest in large blocks.
    char firstBlock[4096];
    ssize_t firstCount = 0;
    while ((firstCount = read(fileDescriptor, firstBlock, sizeof firstBlock)) < 0 &&
           errno == EINTR) {
    }
    if (firstCount <= 0) {
        if (firstCount < 0 && errno == EAGAIN) {
            // A non-blocking input with nothing yet: the copy below waits for it.
            firstCount = 0;
        } else {
            return std::nullopt;
        }
    }
    std::optional<CVError> folderError;
    std::optional<std::string> folder = CVMakeItemReplacementDirectory(&folderError);
    if (!folder) {
        CVPrint(stderr,
                "Error creating temporary file: " + folderError->localizedDescription() + "\n");
        // The input is still read to its end, as the writer expects; there is nowhere to put it.
        drain(fileDescriptor);
        return std::nullopt;
    }
    std::string path = *folder + "/" + captureFileName(CVRandom32());

    // The bytes stream into a side file that is renamed into place once complete. A capture is
    // gone with the run that made it, so it is not flushed to disk.
    std::optional<CVError> writeError;
    std::optional<CVAtomicFile> output = CVAtomicFile::create(path, &writeError);
    CVStreamCopyResult copy;
    if (output) {
        errno = 0;
        if (firstCount > 0 && write(output->descriptor(), firstBlock,
                                    static_cast<size_t>(firstCount)) != firstCount) {
            copy.writeError = errno != 0 ? errno : EIO;
        } else {
            copy = CVCopyToEndOfInput(fileDescriptor, output->descriptor());
            copy.bytesCopied += static_cast<uint64_t>(firstCount);
        }
        if (copy.writeError != 0) {
            writeError = output->writeError(copy.writeError);
        }
    }
    // Nothing, or not all of it, could be read: no copy rather than a partial one.
    bool complete = output && !writeError && copy.bytesCopied > 0 && copy.readError == 0;
    if (!complete || !output->commit(false, &writeError)) {
        drain(fileDescriptor);
        output.reset();
        CVRemoveItemAndItsReplacementDirectory(path);
        if (writeError) {
            setInterpretError(*writeError);
        }
        return std::nullopt;
    }
    CVDebugLog([&] { return "Wrote to: " + path; });
    return path;
}
