#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <unordered_set>
#include <vector>

// One entry of a folder walk that is not a folder.
struct CVFolderEntry {
    // Relative to the walked folder, without a leading slash.
    std::string relativePath;
    // The device of the folder holding the entry and the entry's inode as the folder lists it;
    // for a regular file these are the file's own (barring file systems that report otherwise,
    // which a bookmark made from them tolerates).
    uint64_t device = 0;
    uint64_t inode = 0;
    bool isRegularFile = false;
};

struct CVFolderListing {
    // Every entry that is not a folder (regular files, symbolic links, others), sorted by
    // relative path (bytewise).
    std::vector<CVFolderEntry> files;
    // The folders that were read, relative to the walked folder ("" for the folder itself): a
    // name missing from `files` under one of them does not exist there.
    std::unordered_set<std::string> folders;
    // Folders that were found but could not be read, relative to the walked folder.
    std::unordered_set<std::string> unreadableFolders;
    // The tree was deeper than the process may hold folders open: the listing is incomplete.
    bool tooDeep = false;
};

// Deep listings under folders, walked at the same time, each on a thread of its own (the first
// on the caller's). Names beginning with "." are skipped with everything under them;
// symbolic links are listed, never followed; subfolders that cannot be read contribute nothing.
// A listing is nothing when its folder cannot be opened as a folder. One getdents pass per folder
// and one fstat per folder; entries cost no system call of their own unless the file system leaves
// their type unknown. A walk holds one descriptor per level: while the walks run the soft limit of
// open files is raised to the hard one, and a tree deeper still is reported as `tooDeep`.
std::vector<std::optional<CVFolderListing>> CVListFilesInFolders(
    const std::vector<std::string>& folders);
