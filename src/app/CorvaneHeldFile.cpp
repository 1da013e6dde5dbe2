#include "app/CorvaneHeldFile.h"

#include <fcntl.h>
#include <unistd.h>

#include "platform/CVTemporaryFolder.h"

CorvaneHeldFile::CorvaneHeldFile(std::string path, bool deleteWhenReleased)
    : path_(std::move(path)), deleteWhenReleased_(deleteWhenReleased) {
    if (!path_.empty()) {
        descriptor_ = open(path_.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    }
}

CorvaneHeldFile::~CorvaneHeldFile() {
    if (descriptor_ >= 0) {
        close(descriptor_);
    }
    if (deleteWhenReleased_ && !path_.empty()) {
        CVRemoveItemAndItsReplacementDirectory(path_);
    }
}
