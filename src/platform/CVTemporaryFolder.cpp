#include "platform/CVTemporaryFolder.h"

#include <dirent.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/random.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "platform/CVPaths.h"

namespace {

constexpr int kInterruptions[] = {SIGINT, SIGHUP, SIGTERM};

// The folders this process made and still owns. Changed only with the interruptions blocked, so
// that a handler never sees the list half-changed.
std::vector<std::string>& ownedFolders() {
    static std::vector<std::string> folders;
    return folders;
}

// Blocks the interruptions for its lifetime.
class InterruptionsBlocked {
public:
    InterruptionsBlocked() {
        sigset_t blocked;
        sigemptyset(&blocked);
        for (int signalNumber : kInterruptions) {
            sigaddset(&blocked, signalNumber);
        }
        pthread_sigmask(SIG_BLOCK, &blocked, &previous_);
    }
    ~InterruptionsBlocked() { pthread_sigmask(SIG_SETMASK, &previous_, nullptr); }
    InterruptionsBlocked(const InterruptionsBlocked&) = delete;
    InterruptionsBlocked& operator=(const InterruptionsBlocked&) = delete;

private:
    sigset_t previous_{};
};

bool holds(const std::string& folder, const std::string& path) {
    return path.size() > folder.size() && path.compare(0, folder.size(), folder) == 0 &&
           path[folder.size()] == '/';
}

// Empties and removes one folder with system calls only (no allocation, no stdio).
void removeFolder(const char* folder) {
    int descriptor = open(folder, O_RDONLY | O_DIRECTORY | O_CLOEXEC | O_NOFOLLOW);
    if (descriptor >= 0) {
        alignas(dirent64) char buffer[4096];
        long count = 0;
        while ((count = syscall(SYS_getdents64, descriptor, buffer, sizeof buffer)) > 0) {
            for (long offset = 0; offset < count;) {
                auto* entry = reinterpret_cast<dirent64*>(buffer + offset);
                offset += entry->d_reclen;
                const char* name = entry->d_name;
                if (strcmp(name, ".") != 0 && strcmp(name, "..") != 0) {
                    unlinkat(descriptor, name, 0);
                }
            }
        }
        close(descriptor);
    }
    rmdir(folder);
}

void removeOwnedAndEndBySignal(int signalNumber) {
    CVRemoveOwnedReplacementDirectories();
    // The handler was installed with SA_RESETHAND: the signal, blocked while the handler runs,
    // takes its default action as soon as the handler returns.
    raise(signalNumber);
}

}  // namespace

std::optional<std::string> CVMakeItemReplacementDirectory(std::optional<CVError>* error) {
    std::string pattern = CVPaths::temporaryDirectory() + "cvdiff-XXXXXX";
    InterruptionsBlocked blocked;
    if (mkdtemp(pattern.data()) == nullptr) {
        CVSetError(error, CVError::withLocalizedDescription("Could not create a folder in \"" +
                                                            CVPaths::temporaryDirectory() +
                                                            "\": " + strerror(errno)));
        return std::nullopt;
    }
    ownedFolders().push_back(pattern);
    return pattern;
}

void CVRemoveItemAndItsReplacementDirectory(const std::string& path) {
    unlink(path.c_str());
    std::string folder = path.substr(0, path.rfind('/'));
    std::string prefix = CVPaths::temporaryDirectory() + "cvdiff-";
    if (folder.compare(0, prefix.size(), prefix) == 0 && rmdir(folder.c_str()) == 0) {
        InterruptionsBlocked blocked;
        std::erase(ownedFolders(), folder);
    }
}

void CVHandOverReplacementDirectories(const std::vector<std::string>& keptPaths) {
    InterruptionsBlocked blocked;
    std::erase_if(ownedFolders(), [&](const std::string& folder) {
        return std::none_of(keptPaths.begin(), keptPaths.end(),
                            [&](const std::string& path) { return holds(folder, path); });
    });
}

void CVRemoveOwnedReplacementDirectories() {
    for (const std::string& folder : ownedFolders()) {
        removeFolder(folder.c_str());
    }
}

void CVRemoveOwnedReplacementDirectoriesOnInterruption() {
    struct sigaction action {};
    action.sa_handler = removeOwnedAndEndBySignal;
    action.sa_flags = SA_RESETHAND;
    sigemptyset(&action.sa_mask);
    for (int signalNumber : kInterruptions) {
        sigaddset(&action.sa_mask, signalNumber);
    }
    for (int signalNumber : kInterruptions) {
        struct sigaction previous {};
        sigaction(signalNumber, nullptr, &previous);
        // An interruption the caller chose to ignore (nohup) stays ignored.
        if (previous.sa_handler != SIG_IGN) {
            sigaction(signalNumber, &action, nullptr);
        }
    }
}

uint32_t CVRandom32() {
    uint32_t value = 0;
    while (getrandom(&value, sizeof value, 0) != static_cast<ssize_t>(sizeof value)) {
        if (errno != EINTR) {
            break;
        }
    }
    return value;
}
