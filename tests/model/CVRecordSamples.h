#pragma once

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <systemd/sd-bus.h>
#include <unistd.h>

#include <functional>
#include <memory>
#include <regex>
#include <string>
#include <vector>

#include "model/CVCLISerializedChangeset.h"
#include "model/CVCLISerializedChangesetSummary.h"
#include "model/CVCLISerializedDiffInvocation.h"
#include "model/CVCLISerializedFile.h"
#include "model/CVCLISerializedFileList.h"
#include "model/CVCLISerializedMerge.h"
#include "model/CVCLISerializedPartialChangeset.h"
#include "platform/CVBusObject.h"

// Records with every kind of field set, and a message to carry them, for the coding tests.
inline std::shared_ptr<CVCLISerializedFile> sampleFile(const std::string& path) {
    auto file = std::make_shared<CVCLISerializedFile>();
    file->setFilePath(path);
    file->setTemporary(true);
    file->setURLBookmarkData(CVCLISerializedFile::Data{0, 1, 2, 255});
    file->setBookmarkURL(path);
    return file;
}

inline std::shared_ptr<CVCLISerializedFileList> sampleFileList() {
    auto list = std::make_shared<CVCLISerializedFileList>();
    list->addFile(sampleFile("/left/a.txt"));
    list->addFile(CVCLISerializedFile::serializedSummaryFileWithPath("right/a.txt"));
    list->setStatus(3);
    list->setRelativePath("a.txt");
    list->setLabel("A \"label\" ü");
    return list;
}

inline std::shared_ptr<CVCLISerializedDiffInvocation> sampleInvocation() {
    auto changeset = std::make_shared<CVCLISerializedChangeset>();
    changeset->addFileList(sampleFileList());
    changeset->addFileList(sampleFileList());
    changeset->setLabel("changes");
    auto partial = std::make_shared<CVCLISerializedPartialChangeset>();
    partial->setFileList(sampleFileList());
    partial->setUUID("UUID:mine");
    partial->setUUIDForProcess("PID:42-700000000");
    auto summary = std::make_shared<CVCLISerializedChangesetSummary>();
    summary->addFileList(sampleFileList());
    auto merge = std::make_shared<CVCLISerializedMerge>();
    merge->setFileList(sampleFileList());
    merge->setOutputFile(sampleFile("/out.txt"));
    auto invocation = std::make_shared<CVCLISerializedDiffInvocation>();
    invocation->setFileList(sampleFileList());
    invocation->setChangeset(changeset);
    invocation->setPartialChangeset(partial);
    invocation->setChangesetSummary(summary);
    invocation->setMerge(merge);
    invocation->setWaitForTabClose(true);
    invocation->setParentPID(-7);
    invocation->setParentProcessName("git");
    return invocation;
}

// One record of every class: the invocation and each record inside it, then the base, an empty
// invocation (every field nil or zero) and a changeset without a file lists array.
inline std::vector<std::shared_ptr<CVCLISerializedObject>> everyRecordClass() {
    auto invocation = sampleInvocation();
    auto withoutFileLists = std::make_shared<CVCLISerializedChangeset>();
    withoutFileLists->setFileLists(std::nullopt);
    return {invocation,
            invocation->fileList(),
            invocation->fileList()->files()->front(),
            invocation->changeset(),
            invocation->partialChangeset(),
            invocation->changesetSummary(),
            invocation->merge(),
            std::make_shared<CVCLISerializedObject>(),
            std::make_shared<CVCLISerializedDiffInvocation>(),
            withoutFileLists};
}

// A signal message written by `write`, sealed and rewound for reading. Messages need a started
// bus; one end of a socket pair is enough, nothing is ever sent.
class WireMessage {
public:
    explicit WireMessage(const std::function<void(sd_bus_message*)>& write) {
        int sockets[2];
        EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, sockets), 0);
        peer_ = sockets[1];
        EXPECT_GE(sd_bus_new(bus_.out()), 0);
        EXPECT_GE(sd_bus_set_fd(bus_, sockets[0], sockets[0]), 0);
        EXPECT_GE(sd_bus_start(bus_), 0);
        EXPECT_GE(sd_bus_message_new_signal(bus_, message_.out(), "/x", "a.b", "c"), 0);
        write(message_);
        EXPECT_GE(sd_bus_message_seal(message_, 1, 0), 0);
        EXPECT_GE(sd_bus_message_rewind(message_, 1), 0);
    }
    WireMessage(const WireMessage&) = delete;
    WireMessage& operator=(const WireMessage&) = delete;
    ~WireMessage() {
        message_.reset();
        close(peer_);
    }
    sd_bus_message* get() const { return message_; }

private:
    CVBusObject<sd_bus> bus_;
    CVBusObject<sd_bus_message> message_;
    int peer_ = -1;
};

// The text with every address ("0x..." as %p prints it) replaced by "0x?".
inline std::string withoutAddresses(const std::string& text) {
    static const std::regex address("0x[0-9a-f]+");
    return std::regex_replace(text, address, "0x?");
}
