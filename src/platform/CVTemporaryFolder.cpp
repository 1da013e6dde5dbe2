#include "platform/CVTemporaryFolder.h"

#include <sys/random.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "platform/CVPaths.h"

std::optional<std::string> CVMakeItemReplacementDirectory(std::optional<CVError>* error) {
    std::string pattern = CVPaths::temporaryDirectory() + "cvdiff-XXXXXX";
    if (mkdtemp(pattern.data()) == nullptr) {
        CVSetError(error, CVError::withLocalizedDescription("Could not create a folder in \"" +
                                                            CVPaths::temporaryDirectory() +
                                                            "\": " + strerror(errno)));
        return std::nullopt;
    }
    return pattern;
}

void CVRemoveItemAndItsReplacementDirectory(const std::string& path) {
    unlink(path.c_str());
    std::string folder = path.substr(0, path.rfind('/'));
    std::string prefix = CVPaths::temporaryDirectory() + "cvdiff-";
    if (folder.compare(0, prefix.size(), prefix) == 0) {
        rmdir(folder.c_str());
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
