#include "platform/CVPropertyList.h"

#include "platform/CVReadFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <limits>

namespace {

CVError errnoError(const std::string& what, const std::string& path, int code) {
    return CVError::withLocalizedDescription(what + " \"" + path + "\": " + strerror(code));
}

void makeParentFolders(const std::string& path) {
    for (size_t slash = path.find('/', 1); slash != std::string::npos;
         slash = path.find('/', slash + 1)) {
        mkdir(path.substr(0, slash).c_str(), 0700);
    }
}

}  // namespace

namespace CVPropertyList {

CVPlist fromData(std::string_view bytes) {
    if (bytes.empty() || bytes.size() > std::numeric_limits<uint32_t>::max()) {
        return nullptr;
    }
    plist_t root = nullptr;
    plist_from_memory(bytes.data(), static_cast<uint32_t>(bytes.size()), &root);
    return CVPlist(root);
}

CVPlist readFile(const std::string& path, std::optional<CVError>* error) {
    int code = 0;
    std::optional<std::string> bytes = CVReadWholeFile(path, &code);
    if (!bytes) {
        CVSetError(error, errnoError("Could not read", path, code));
        return nullptr;
    }
    CVPlist root = fromData(*bytes);
    if (!root) {
        CVSetError(error, CVError::withLocalizedDescription("The file \"" + path +
                                                            "\" is not a property list."));
    }
    return root;
}

std::string toData(plist_t root, Format format) {
    char* bytes = nullptr;
    uint32_t length = 0;
    if (format == Format::binary) {
        plist_to_bin(root, &bytes, &length);
    } else {
        plist_to_xml(root, &bytes, &length);
    }
    std::string data(bytes == nullptr ? "" : std::string(bytes, length));
    free(bytes);
    return data;
}

bool writeFileAtomically(const std::string& path, plist_t root, Format format,
                         std::optional<CVError>* error) {
    std::string bytes = toData(root, format);
    if (bytes.empty()) {
        CVSetError(error,
                   CVError::withLocalizedDescription("Could not serialise a property list."));
        return false;
    }
    makeParentFolders(path);
    return CVWriteFileAtomically(path, bytes, error);
}

std::optional<std::string> stringValue(plist_t node) {
    if (node == nullptr || plist_get_node_type(node) != PLIST_STRING) {
        return std::nullopt;
    }
    char* value = nullptr;
    plist_get_string_val(node, &value);
    std::string text(value == nullptr ? "" : value);
    free(value);
    return text;
}

std::optional<bool> boolValue(plist_t node) {
    if (node == nullptr || plist_get_node_type(node) != PLIST_BOOLEAN) {
        return std::nullopt;
    }
    uint8_t value = 0;
    plist_get_bool_val(node, &value);
    return value != 0;
}

std::optional<int64_t> integerValue(plist_t node) {
    if (node == nullptr || plist_get_node_type(node) != PLIST_UINT) {
        return std::nullopt;
    }
    uint64_t value = 0;
    plist_get_uint_val(node, &value);
    return static_cast<int64_t>(value);
}

std::optional<std::vector<uint8_t>> dataValue(plist_t node) {
    if (node == nullptr || plist_get_node_type(node) != PLIST_DATA) {
        return std::nullopt;
    }
    char* value = nullptr;
    uint64_t length = 0;
    plist_get_data_val(node, &value, &length);
    std::vector<uint8_t> bytes(value, value + length);
    free(value);
    return bytes;
}

}  // namespace CVPropertyList

bool CVWriteFileAtomically(const std::string& path, std::string_view bytes,
                           std::optional<CVError>* error, unsigned newFileMode) {
    std::string sidePath = path + ".XXXXXX";
    int descriptor = mkostemp(sidePath.data(), O_CLOEXEC);
    if (descriptor < 0) {
        CVSetError(error, errnoError("Could not write", path, errno));
        return false;
    }
    // The side file is made 0600; the file it replaces keeps its own mode.
    struct stat existing {};
    bool exists = stat(path.c_str(), &existing) == 0;
    if (exists || newFileMode != 0600) {
        fchmod(descriptor, exists ? existing.st_mode & 07777 : newFileMode);
    }
    size_t written = 0;
    while (written < bytes.size()) {
        ssize_t count = write(descriptor, bytes.data() + written, bytes.size() - written);
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count < 0) {
            int code = errno;
            close(descriptor);
            unlink(sidePath.c_str());
            CVSetError(error, errnoError("Could not write", path, code));
            return false;
        }
        written += static_cast<size_t>(count);
    }
    // Flushed before the rename, so that a crash leaves the old content or the new, never none.
    bool flushed = fsync(descriptor) == 0;
    int code = flushed ? 0 : errno;
    if (close(descriptor) != 0 && flushed) {
        flushed = false;
        code = errno;
    }
    if (flushed && rename(sidePath.c_str(), path.c_str()) != 0) {
        flushed = false;
        code = errno;
    }
    if (!flushed) {
        unlink(sidePath.c_str());
        CVSetError(error, errnoError("Could not write", path, code));
        return false;
    }
    return true;
}
