#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "model/CVCLISerializedFile.h"
#include "model/CVCLISerializedFileList.h"

// The index-th item of a large changeset as a pairing of two folders makes it: a file list of two
// walked files with bookmarks and a relative path, a hundred to a folder.
inline std::shared_ptr<CVCLISerializedFileList> benchmarkChangesetItem(int index) {
    std::string path =
        "folder" + std::to_string(index / 100) + "/file" + std::to_string(index) + ".txt";
    auto list = std::make_shared<CVCLISerializedFileList>();
    list->setRelativePath(path);
    for (const char* side : {"/home/person/left/", "/home/person/right/"}) {
        list->addFile(CVCLISerializedFile::serializedWalkedFileWithPath(
            side + path, 2049, uint64_t(index), std::nullopt, std::nullopt));
    }
    return list;
}
