#include "platform/CVPaths.h"

#include <cstdio>

#include <pwd.h>
#include <unistd.h>

#include <cerrno>

#include "platform/CVEnvironment.h"

namespace CVPaths {

std::optional<std::string> homeDirectory() {
    passwd* entry = getpwuid(getuid());
    if (entry == nullptr || entry->pw_dir == nullptr || *entry->pw_dir == '\0') {
        return std::nullopt;
    }
    return std::string(entry->pw_dir);
}

std::string configHome() {
    if (auto value = CVEnvironmentValue("XDG_CONFIG_HOME")) {
        return *value;
    }
    return appendingPathComponent(homeDirectory().value_or("/"), ".config");
}

std::string dataHome() {
    if (auto value = CVEnvironmentValue("XDG_DATA_HOME")) {
        return *value;
    }
    return appendingPathComponent(homeDirectory().value_or("/"), ".local/share");
}

std::vector<std::string> dataDirectories() {
    std::string list = CVEnvironmentValue("XDG_DATA_DIRS").value_or("/usr/local/share:/usr/share");
    std::vector<std::string> folders;
    size_t start = 0;
    while (start <= list.size()) {
        size_t end = list.find(':', start);
        if (end == std::string::npos) {
            end = list.size();
        }
        if (end > start) {
            folders.push_back(list.substr(start, end - start));
        }
        start = end + 1;
    }
    return folders;
}

std::string temporaryDirectory() {
    std::string folder = CVEnvironmentValue("TMPDIR").value_or("/tmp/");
    if (folder.back() != '/') {
        folder += '/';
    }
    return folder;
}

std::string currentDirectory() {
    std::string path(4096, '\0');
    while (getcwd(path.data(), path.size()) == nullptr) {
        if (errno != ERANGE) {
            return {};
        }
        path.resize(path.size() * 2);
    }
    path.resize(path.find('\0'));
    return path;
}

std::string appendingPathComponent(const std::string& base, const std::string& component) {
    if (base.empty()) {
        return component;
    }
    std::string joined = base;
    while (joined.size() > 1 && joined.back() == '/') {
        joined.pop_back();
    }
    size_t skip = 0;
    while (skip < component.size() && component[skip] == '/') {
        ++skip;
    }
    if (joined != "/") {
        joined += '/';
    }
    joined.append(component, skip);
    return joined;
}

std::string stringByDeletingLastPathComponent(const std::string& path) {
    size_t end = path.size();
    while (end > 1 && path[end - 1] == '/') {
        --end;
    }
    size_t slash = path.rfind('/', end == 0 ? 0 : end - 1);
    if (slash == std::string::npos) {
        return "";
    }
    while (slash > 0 && path[slash - 1] == '/') {
        --slash;
    }
    return slash == 0 ? "/" : path.substr(0, slash);
}

std::string lastPathComponent(const std::string& path) {
    size_t end = path.size();
    while (end > 1 && path[end - 1] == '/') {
        --end;
    }
    size_t slash = path.rfind('/', end - 1);
    if (slash == std::string::npos) {
        return path.substr(0, end);
    }
    if (end == 1 && slash == 0) {
        return "/";
    }
    return path.substr(slash + 1, end - slash - 1);
}

std::string standardizingPath(const std::string& path) {
    if (path.empty()) {
        return path;
    }
    bool absolute = path.front() == '/';
    std::vector<std::string> parts;
    size_t start = 0;
    while (start <= path.size()) {
        size_t end = path.find('/', start);
        if (end == std::string::npos) {
            end = path.size();
        }
        std::string part = path.substr(start, end - start);
        if (part.empty() || part == ".") {
            // Redundant separators and "." say nothing.
        } else if (part == ".." && absolute) {
            if (!parts.empty()) {
                parts.pop_back();
            }
        } else if (part == ".." && !parts.empty() && parts.back() != "..") {
            parts.pop_back();
        } else {
            parts.push_back(part);
        }
        start = end + 1;
    }
    std::string result = absolute ? "/" : "";
    for (size_t index = 0; index < parts.size(); ++index) {
        if (index > 0) {
            result += '/';
        }
        result += parts[index];
    }
    if (result.empty()) {
        return absolute ? "/" : ".";
    }
    return result;
}

// The components are a typed vector, so the "components are not an array" assertion of the
// dynamically typed original cannot fail here and has no counterpart.
std::optional<std::string> pathByExtendingPathWithComponents(
    std::optional<std::string> base, const std::optional<std::vector<std::string>>& components) {
    if (!base || !components) {
        return base;
    }
    for (const auto& component : *components) {
        base = CVPaths::appendingPathComponent(*base, component);
    }
    return base;
}

std::string fileURLDescription(const std::string& path, bool isDirectory) {
    static constexpr std::string_view kUnreserved =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~/!$&'()*+,;=:@";
    std::string url = "file://";
    for (unsigned char character : path) {
        if (kUnreserved.find(static_cast<char>(character)) != std::string_view::npos) {
            url += static_cast<char>(character);
        } else {
            char escaped[4];
            std::snprintf(escaped, sizeof escaped, "%%%02X", character);
            url += escaped;
        }
    }
    if (isDirectory && !url.ends_with('/')) {
        url += '/';
    }
    return url;
}

}  // namespace CVPaths
