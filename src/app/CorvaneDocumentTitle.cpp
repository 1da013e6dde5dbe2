#include "app/CorvaneDocumentTitle.h"

#include <algorithm>
#include <optional>
#include <set>

#include "app/CorvaneChangesetItems.h"
#include "model/CVCLISerializedFileList.h"

namespace {

// The path's components, last first; empty components (doubled or trailing slashes) skipped.
std::vector<std::string> componentsFromTheEnd(const std::string& path) {
    std::vector<std::string> components;
    size_t end = path.size();
    while (end > 0) {
        size_t slash = path.rfind('/', end - 1);
        size_t start = slash == std::string::npos ? 0 : slash + 1;
        if (end > start) {
            components.push_back(path.substr(start, end - start));
        }
        if (slash == std::string::npos) {
            break;
        }
        end = slash;
    }
    return components;
}

std::string lastComponents(const std::vector<std::string>& fromTheEnd, size_t count) {
    std::string name;
    for (size_t index = std::min(count, fromTheEnd.size()); index-- > 0;) {
        name += fromTheEnd[index];
        if (index > 0) {
            name += '/';
        }
    }
    return name;
}

// The folder a side's file is in once its relative path is taken off; nothing when the path
// does not end in it.
std::optional<std::string> rootOf(const std::string& path, const std::string& relativePath) {
    if (relativePath.empty() || path.size() <= relativePath.size() + 1 ||
        path.compare(path.size() - relativePath.size(), relativePath.size(), relativePath) != 0 ||
        path[path.size() - relativePath.size() - 1] != '/') {
        return std::nullopt;
    }
    return path.substr(0, path.size() - relativePath.size() - 1);
}

constexpr std::string_view kNoFile = "/dev/null";

// The path of an item's side within its changeset: the item's relative path, else the longest
// path the changeset's summary announced that the side ends in (git difftool's items carry no
// relative path; their new sides lie in the work tree).
std::optional<std::string> pathInChangeset(const std::string& side, const CorvaneFileList& item,
                                           const std::set<std::string>& announced) {
    if (item.relativePath) {
        return item.relativePath;
    }
    for (size_t slash = side.find('/'); slash != std::string::npos;
         slash = side.find('/', slash + 1)) {
        if (auto found = announced.find(side.substr(slash + 1)); found != announced.end()) {
            return *found;
        }
    }
    return std::nullopt;
}

// The two folders a changeset compares, as "before ↔ after", when every item's sides lie at its
// path below the same two folders; else the one folder every item's new side lies in (git
// difftool's work tree: its old sides are temporary copies). Sides that are no file (an added
// file's old side, a deleted one's new side) have no say.
std::optional<std::string> rootsOfChangeset(const CorvaneDocument& document) {
    std::set<std::string> announced;
    for (const CorvaneFileList& announcement : document.announcedFileLists) {
        for (const std::string& path : announcement.files) {
            announced.insert(CorvaneUnquoteGitPath(path));
        }
    }
    std::set<std::string> lefts;
    std::set<std::string> rights;
    bool everyLeft = true;
    for (const CorvaneFileList& item : document.fileLists) {
        if (item.files.empty()) {
            return std::nullopt;
        }
        auto rootOfSide = [&](const std::string& side) -> std::optional<std::string> {
            auto path = pathInChangeset(side, item, announced);
            return path ? rootOf(side, *path) : std::nullopt;
        };
        // A lone file is the right side of an added file, the left side of a deleted one.
        bool onlyLeft = item.files.size() == 1 && item.status == CVCLISerializedFileList::deleted;
        if ((item.files.size() > 1 || onlyLeft) && item.files.front() != kNoFile) {
            auto root = rootOfSide(item.files.front());
            everyLeft = everyLeft && root;
            if (root) {
                lefts.insert(*root);
            }
        }
        if (!onlyLeft && item.files.back() != kNoFile) {
            auto root = rootOfSide(item.files.back());
            if (!root) {
                return std::nullopt;
            }
            rights.insert(*root);
        }
    }
    if (rights.size() != 1) {
        return std::nullopt;
    }
    const std::string& right = *rights.begin();
    if (everyLeft && lefts.size() == 1 && *lefts.begin() != right) {
        std::vector<std::string> names =
            CorvaneDocumentTitle::distinguishingNames({*lefts.begin(), right});
        return names[0] + " \u2194 " + names[1];
    }
    return CorvaneDocumentTitle::distinguishingNames({right}).front();
}

// The sides a title names: a side that is git's temporary copy of another side's file is that
// file, for a person, and goes unnamed. When every side is a copy (git difftool comparing two
// commits), they are one file, named once.
std::vector<std::string> namedSides(const std::vector<std::string>& files) {
    std::vector<std::string> named;
    for (const std::string& file : files) {
        bool copy = std::ranges::any_of(files, [&file](const std::string& other) {
            return &other != &file && CorvaneIsGitCopyOf(file, other);
        });
        if (!copy) {
            named.push_back(file);
        }
    }
    if (named.empty() && !files.empty()) {
        named.push_back(files.front());
    }
    return named;
}

}  // namespace

namespace CorvaneDocumentTitle {

std::vector<std::string> distinguishingNames(const std::vector<std::string>& paths) {
    std::vector<std::vector<std::string>> components;
    size_t deepest = 1;
    for (const std::string& path : paths) {
        components.push_back(componentsFromTheEnd(path));
        deepest = std::max(deepest, components.back().size());
    }
    size_t depth = 1;
    for (; depth < deepest; ++depth) {
        std::set<std::string> seen;
        std::set<std::string> distinctPaths(paths.begin(), paths.end());
        for (const auto& parts : components) {
            seen.insert(lastComponents(parts, depth));
        }
        if (seen.size() == distinctPaths.size()) {
            break;
        }
    }
    std::vector<std::string> names;
    for (size_t index = 0; index < paths.size(); ++index) {
        std::string name = lastComponents(components[index], depth);
        names.push_back(name.empty() ? paths[index] : name);
    }
    return names;
}

std::string titleOfDocument(const CorvaneDocument& document) {
    if (document.label && !document.label->empty()) {
        return *document.label;
    }
    if (document.fileLists.empty()) {
        return document.announcedFileLists.empty()
                   ? std::string("Changeset")
                   : "Changeset of " + std::to_string(document.announcedFileLists.size()) +
                         " files";
    }
    // A merge is named after the file it writes; its sides are temporary copies more often
    // than not (git mergetool's NAME_LOCAL_PID.EXT).
    if (document.kind == CorvaneDocumentKind::merge && document.outputFile) {
        return distinguishingNames({*document.outputFile}).front() + " (merge)";
    }
    if (document.kind == CorvaneDocumentKind::changeset ||
        document.kind == CorvaneDocumentKind::partialChangeset) {
        if (auto roots = rootsOfChangeset(document)) {
            return *roots;
        }
    }
    const CorvaneFileList& first = document.fileLists.front();
    std::string title;
    if (first.label && !first.label->empty()) {
        title = *first.label;
    } else {
        std::vector<std::string> names = distinguishingNames(namedSides(first.files));
        for (const std::string& name : names) {
            if (!title.empty()) {
                title += " \u2194 ";
            }
            title += name;
        }
    }
    if (document.fileLists.size() > 1) {
        title += " and " + std::to_string(document.fileLists.size() - 1) + " more";
    }
    return title;
}

}  // namespace CorvaneDocumentTitle
