#include "app/CorvaneDocumentTitle.h"

#include <algorithm>
#include <set>

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
    const CorvaneFileList& first = document.fileLists.front();
    std::string title;
    if (first.label && !first.label->empty()) {
        title = *first.label;
    } else {
        std::vector<std::string> names = distinguishingNames(first.files);
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
