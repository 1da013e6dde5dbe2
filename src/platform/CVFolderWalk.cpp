#include "platform/CVFolderWalk.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <exception>
#include <system_error>
#include <thread>

namespace {

// Lists the folder open at `fd` (which it closes) with `prefix` before every name.
void walkFolder(int fd, std::string& prefix, CVFolderListing& listing) {
    DIR* folder = fdopendir(fd);
    struct stat folderStatus {};
    if (folder == nullptr || fstat(fd, &folderStatus) != 0) {
        folder ? closedir(folder) : close(fd);
        listing.unreadableFolders.insert(prefix.substr(0, prefix.size() - 1));
        return;
    }
    listing.folders.insert(prefix.empty() ? prefix : prefix.substr(0, prefix.size() - 1));
    while (dirent* entry = readdir(folder)) {
        if (entry->d_name[0] == '.') {
            continue;
        }
        unsigned char type = entry->d_type;
        if (type == DT_UNKNOWN) {
            struct stat status {};
            if (fstatat(dirfd(folder), entry->d_name, &status, AT_SYMLINK_NOFOLLOW) != 0) {
                continue;
            }
            type = S_ISDIR(status.st_mode) ? DT_DIR : S_ISREG(status.st_mode) ? DT_REG : DT_LNK;
        }
        if (type != DT_DIR) {
            listing.files.push_back(
                {prefix + entry->d_name, folderStatus.st_dev, entry->d_ino, type == DT_REG});
            continue;
        }
        int child =
            openat(dirfd(folder), entry->d_name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
        if (child < 0) {
            listing.tooDeep = listing.tooDeep || errno == EMFILE || errno == ENFILE;
            listing.unreadableFolders.insert(prefix + entry->d_name);
            continue;
        }
        size_t length = prefix.size();
        prefix += entry->d_name;
        prefix += '/';
        walkFolder(child, prefix, listing);
        prefix.resize(length);
    }
    closedir(folder);
}

std::optional<CVFolderListing> listFiles(const std::string& path) {
    int fd = open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0) {
        return std::nullopt;
    }
    CVFolderListing listing;
    std::string prefix;
    walkFolder(fd, prefix, listing);
    std::sort(listing.files.begin(), listing.files.end(),
              [](const CVFolderEntry& left, const CVFolderEntry& right) {
                  return left.relativePath < right.relativePath;
              });
    return listing;
}

}  // namespace

std::vector<std::optional<CVFolderListing>> CVListFilesInFolders(
    const std::vector<std::string>& folders) {
    // One descriptor per level: allow as many as the hard limit does while the walks run.
    struct rlimit limit {};
    bool raised = getrlimit(RLIMIT_NOFILE, &limit) == 0 && limit.rlim_cur < limit.rlim_max;
    if (raised) {
        struct rlimit wider = limit;
        wider.rlim_cur = limit.rlim_max;
        raised = setrlimit(RLIMIT_NOFILE, &wider) == 0;
    }
    std::vector<std::optional<CVFolderListing>> listings(folders.size());
    std::vector<std::exception_ptr> failures(folders.size());
    auto walk = [&folders, &listings, &failures](size_t index) {
        try {
            listings[index] = listFiles(folders[index]);
        } catch (...) {
            failures[index] = std::current_exception();
        }
    };
    std::vector<std::thread> walkers;
    for (size_t index = 1; index < folders.size(); ++index) {
        try {
            walkers.emplace_back(walk, index);
        } catch (const std::system_error&) {
            walk(index);  // no thread to be had: walked here, one after another
        }
    }
    if (!folders.empty()) {
        walk(0);
    }
    for (std::thread& walker : walkers) {
        walker.join();
    }
    if (raised) {
        setrlimit(RLIMIT_NOFILE, &limit);
    }
    for (const std::exception_ptr& failure : failures) {
        if (failure) {
            std::rethrow_exception(failure);
        }
    }
    return listings;
}
