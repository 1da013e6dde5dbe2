#include "app/CorvaneJSON.h"

#include <gtest/gtest.h>

#include "model/CVCLISerializedFile.h"
#include "model/CVCLISerializedFileList.h"

TEST(TheJSONOfARecord, NamesTheClassFirstAndEveryKeyInOrderWithBase64DataAndReadableText) {
    CVCLISerializedFile file;
    file.setFilePath("a\"b\n\x01\xff\xc3\xa9");
    file.setTemporary(true);
    file.setURLBookmarkData(CVCLISerializedFile::Data{1, 2, 3, 4});
    CVCLISerializedFileList list;
    list.addFile(std::make_shared<CVCLISerializedFile>(file));
    list.setStatus(2);

    // Read back as a reader of the journal reads it: a byte that is not UTF-8 is U+FFFD.
    CorvaneJSON read = CorvaneJSON::parse(CorvaneJSONText(CorvaneJSONForRecord(list)));
    EXPECT_EQ(read, CorvaneJSON::parse(R"({"$class":"CVCLISerializedFileList","files":[
        {"$class":"CVCLISerializedFile","filePath":"a\"b\n\u0001\ufffd\u00e9","temporary":true,
         "deletedOnExit":null,"URLBookmarkData":"AQIDBA=="}],
        "status":2,"relativePath":null,"label":null})"));
}
