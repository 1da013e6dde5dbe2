// The least a process can do to open a document in Corvane: connect to the session bus and make
// one GUIDForDocumentWithCVDiffInvocation call with the same payload cvdiff would send for
// `cvdiff LEFT RIGHT` (the two files with their bookmarks, the parent's name and id). The
// yardstick for the tool's own start-up and run in bench/tool-run.sh.
// usage: minimal_document_client LEFT RIGHT
#include <systemd/sd-bus.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <string>

#include "model/CVCLISerializedDiffInvocation.h"
#include "model/CVCLISerializedFile.h"
#include "model/CVCLISerializedFileList.h"
#include "model/CVWireCoding.h"
#include "platform/CVCorvaneContract.h"

int main(int argc, char** argv) {
    if (argc != 3) {
        fprintf(stderr, "usage: %s LEFT RIGHT\n", argv[0]);
        return 2;
    }
    std::string parentName;
    std::getline(std::ifstream("/proc/" + std::to_string(getppid()) + "/comm"), parentName);

    CVCLISerializedFileList::Files files;
    for (int index = 1; index < 3; ++index) {
        auto file = CVCLISerializedFile::serializedExpectedFileWithPath(argv[index], std::nullopt,
                                                                        std::nullopt, nullptr);
        if (!file) {
            return 1;
        }
        files.push_back(file);
    }
    auto invocation = std::make_shared<CVCLISerializedDiffInvocation>();
    invocation->setFileList(
        CVCLISerializedFileList::serializedFileListWithRelativePath(std::nullopt, files, nullptr));
    invocation->setParentPID(getppid());
    invocation->setParentProcessName(parentName);

    sd_bus* bus = nullptr;
    if (sd_bus_open_user(&bus) < 0) {
        return 1;
    }
    sd_bus_message* call = nullptr;
    sd_bus_message* reply = nullptr;
    sd_bus_error error{};
    int result = sd_bus_message_new_method_call(
        bus, &call, CVCorvaneContract::kDistributedObjectsConnectionName,
        CVCorvaneContract::kProxyObjectPath, CVCorvaneContract::kProxyInterface,
        "GUIDForDocumentWithCVDiffInvocation");
    if (result >= 0) {
        result = CVWireCoding::appendInvocation(call, *invocation);
    }
    if (result >= 0) {
        result = sd_bus_call(bus, call, 0, &error, &reply);
    }
    std::optional<std::string> guid;
    if (result >= 0) {
        result = CVWireCoding::readStringOrNil(reply, &guid);
    }
    sd_bus_error_free(&error);
    sd_bus_message_unref(reply);
    sd_bus_message_unref(call);
    sd_bus_flush_close_unref(bus);
    return result >= 0 && guid ? 0 : 1;
}
