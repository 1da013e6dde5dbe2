#include "platform/CVPropertyList.h"

#include "platform/CVFiles.h"
#include "platform/CVReadFile.h"
#include "platform/CVSystemLog.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <utility>
#include <vector>

namespace {

CVError errnoError(const std::string& what, const std::string& path, int code) {
    return CVError::withLocalizedDescription(what + " \"" + path + "\": " + strerror(code));
}

// No property list of ours nests deeper than a few levels, nor is larger than a few kilobytes;
// these limits keep a planted file from exhausting the parser's stack or the memory.
constexpr int kDeepestNesting = 32;
constexpr off_t kLargestFile = 8 << 20;

// Whether an XML property list nests arrays and dictionaries deeper than the limit.
bool xmlNestsTooDeeply(std::string_view bytes) {
    int depth = 0;
    for (size_t at = bytes.find('<'); at != std::string_view::npos; at = bytes.find('<', at + 1)) {
        std::string_view tag = bytes.substr(at + 1, 7);
        if (tag.starts_with("array>") || tag.starts_with("dict>")) {
            if (++depth > kDeepestNesting) {
                return true;
            }
        } else if (tag.starts_with("/array>") || tag.starts_with("/dict>")) {
            --depth;
        }
    }
    return false;
}

uint64_t bigEndian(std::string_view bytes, size_t offset, size_t size) {
    uint64_t value = 0;
    for (size_t index = 0; index < size; ++index) {
        value = (value << 8) | static_cast<unsigned char>(bytes[offset + index]);
    }
    return value;
}

// Whether a binary property list nests containers deeper than the limit, refers to objects it
// does not hold, or makes a walk of its containers too long (a loop). Walks without recursion.
bool binaryNestsTooDeeply(std::string_view bytes) {
    constexpr size_t kTrailer = 32;
    if (bytes.size() < 8 + kTrailer) {
        return true;
    }
    size_t trailer = bytes.size() - kTrailer;
    size_t offsetSize = static_cast<unsigned char>(bytes[trailer + 6]);
    size_t referenceSize = static_cast<unsigned char>(bytes[trailer + 7]);
    uint64_t objects = bigEndian(bytes, trailer + 8, 8);
    uint64_t top = bigEndian(bytes, trailer + 16, 8);
    uint64_t table = bigEndian(bytes, trailer + 24, 8);
    if (offsetSize == 0 || offsetSize > 8 || referenceSize == 0 || referenceSize > 8 ||
        objects == 0 || top >= objects || table > trailer ||
        objects > (trailer - table) / offsetSize) {
        return true;
    }
    std::vector<std::pair<uint64_t, int>> pending{{top, 1}};
    size_t visits = 0;
    while (!pending.empty()) {
        auto [object, depth] = pending.back();
        pending.pop_back();
        if (object >= objects || depth > kDeepestNesting || ++visits > (1u << 20)) {
            return true;
        }
        uint64_t offset = bigEndian(bytes, table + object * offsetSize, offsetSize);
        if (offset >= table) {
            return true;
        }
        auto marker = static_cast<unsigned char>(bytes[offset]);
        unsigned kind = marker >> 4;
        if (kind != 0xA && kind != 0xC && kind != 0xD) {
            continue;  // Not a container.
        }
        uint64_t count = marker & 0x0F;
        size_t references = offset + 1;
        if (count == 0x0F) {
            auto sizeMarker = static_cast<unsigned char>(bytes[references]);
            size_t size = size_t{1} << (sizeMarker & 0x0F);
            if ((sizeMarker >> 4) != 0x1 || size > 8 || references + 1 + size > table) {
                return true;
            }
            count = bigEndian(bytes, references + 1, size);
            references += 1 + size;
        }
        if (kind == 0xD) {
            count *= 2;  // The keys, then the values.
        }
        if (count > (table - references) / referenceSize) {
            return true;
        }
        for (uint64_t index = 0; index < count; ++index) {
            pending.emplace_back(
                bigEndian(bytes, references + index * referenceSize, referenceSize), depth + 1);
        }
    }
    return false;
}

// Reads a regular file of at most kLargestFile bytes without ever blocking: a pipe, a device or
// a link to one is refused (EINVAL), and so is a larger file (EFBIG).
std::optional<std::string> readPropertyListFile(const std::string& path, int* code) {
    int descriptor = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (descriptor < 0) {
        *code = errno;
        return std::nullopt;
    }
    struct stat status {};
    std::optional<std::string> bytes;
    if (fstat(descriptor, &status) != 0) {
        *code = errno;
    } else if (!S_ISREG(status.st_mode)) {
        *code = EINVAL;
    } else if (status.st_size > kLargestFile) {
        *code = EFBIG;
    } else {
        bytes = CVReadToEnd(descriptor, code);
    }
    close(descriptor);
    return bytes;
}

}  // namespace

namespace CVPropertyList {

CVPlist fromData(std::string_view bytes) {
    if (bytes.empty() || bytes.size() > std::numeric_limits<uint32_t>::max()) {
        return nullptr;
    }
    bool binary = bytes.starts_with("bplist00");
    if (binary ? binaryNestsTooDeeply(bytes) : xmlNestsTooDeeply(bytes)) {
        return nullptr;
    }
    plist_t root = nullptr;
    plist_from_memory(bytes.data(), static_cast<uint32_t>(bytes.size()), &root);
    return CVPlist(root);
}

CVPlist readFile(const std::string& path, std::optional<CVError>* error) {
    int code = 0;
    std::optional<std::string> bytes = readPropertyListFile(path, &code);
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
    free(bytes);  // NOLINT(cppcoreguidelines-no-malloc): libplist allocates with malloc
    return data;
}

void setAsideIfUnreadable(const std::string& path) {
    struct stat status {};
    std::optional<CVError> error;
    // A folder in the way is not a file of ours gone bad: the write fails on it instead.
    if (lstat(path.c_str(), &status) != 0 || S_ISDIR(status.st_mode) || readFile(path, &error)) {
        return;
    }
    // Once: a file set aside earlier is the user's to look at, and is not replaced.
    std::string aside = path + ".corrupt";
    if (lstat(aside.c_str(), &status) != 0 && rename(path.c_str(), aside.c_str()) == 0) {
        CVSystemLog("Kept the unreadable " + path + " as " + aside + " (" +
                    (error ? error->localizedDescription() : std::string()) + ")");
    }
}

bool writeFileAtomically(const std::string& path, plist_t root, Format format,
                         std::optional<CVError>* error) {
    std::string bytes = toData(root, format);
    if (bytes.empty()) {
        CVSetError(error,
                   CVError::withLocalizedDescription("Could not serialise a property list."));
        return false;
    }
    CVMakeParentFolders(path);
    setAsideIfUnreadable(path);
    return CVWriteFileAtomically(path, bytes, error);
}

std::optional<std::string> stringValue(plist_t node) {
    if (node == nullptr || plist_get_node_type(node) != PLIST_STRING) {
        return std::nullopt;
    }
    char* value = nullptr;
    plist_get_string_val(node, &value);
    std::string text(value == nullptr ? "" : value);
    free(value);  // NOLINT(cppcoreguidelines-no-malloc): libplist allocates with malloc
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
    free(value);  // NOLINT(cppcoreguidelines-no-malloc): libplist allocates with malloc
    return bytes;
}

}  // namespace CVPropertyList
