// One call to a warm Corvane on a private bus, as the tool makes it: the round trip seen by a
// connected client, and the application's own time for it (from its journal).

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "CVTestBed.h"
#include "model/CVCLISerializedDiffInvocation.h"
#include "model/CVCLISerializedFile.h"
#include "model/CVCLISerializedFileList.h"
#include "model/CVWireCoding.h"
#include "platform/CVCorvaneContract.h"

namespace {

namespace Contract = CVCorvaneContract;

// Documents are closed in batches outside the timing, so the application's store stays small.
constexpr size_t kCloseBatch = 256;

struct Session {
    CVTestBed bed;
    std::shared_ptr<CVTestProcess> application = bed.startApplication();
    std::unique_ptr<CVBusConnection> client = bed.connect();
};

Session& session() {
    static auto* shared = new Session();
    return *shared;
}

std::shared_ptr<CVCLISerializedDiffInvocation> twoFileDiff() {
    CVCLISerializedFileList::Files files;
    for (const char* path : {"/home/user/project/left.txt", "/home/user/project/right.txt"}) {
        auto file = std::make_shared<CVCLISerializedFile>();
        file->setFilePath(std::string(path));
        file->setTemporary(false);
        files.push_back(file);
    }
    auto list = std::make_shared<CVCLISerializedFileList>();
    list->setFiles(files);
    auto invocation = std::make_shared<CVCLISerializedDiffInvocation>();
    invocation->setFileList(list);
    invocation->setWaitForTabClose(true);
    invocation->setParentPID(4242);
    invocation->setParentProcessName("git");
    return invocation;
}

// The application's own times of its document calls, from the journal.
std::vector<double> journaledMicroseconds(const CVTestBed& bed) {
    std::vector<double> times;
    for (const nlohmann::json& entry : bed.journalEntries()) {
        if (entry.contains("microseconds")) {
            times.push_back(entry["microseconds"]);
        }
    }
    return times;
}

void closeDocuments(sd_bus* bus, std::vector<std::string>& GUIDs) {
    for (const std::string& GUID : GUIDs) {
        sd_bus_call_method(bus, Contract::kApplicationBundleIdentifier,
                           "/com/corvane/Corvane/control", "com.corvane.Corvane.Control",
                           "CloseTab", nullptr, nullptr, "s", GUID.c_str());
    }
    GUIDs.clear();
}

void GUIDForTwoFileDiff(benchmark::State& state) {
    Session& current = session();
    if (!current.application) {
        state.SkipWithError("Corvane did not start");
        return;
    }
    sd_bus* bus = current.client->get();
    auto invocation = twoFileDiff();
    size_t journaledBefore = journaledMicroseconds(current.bed).size();
    std::vector<std::string> GUIDs;
    for (auto _ : state) {
        CVBusObject<sd_bus_message> message;
        CVBusObject<sd_bus_message> reply;
        sd_bus_message_new_method_call(bus, message.out(),
                                       Contract::kDistributedObjectsConnectionName,
                                       Contract::kProxyObjectPath, Contract::kProxyInterface,
                                       "GUIDForDocumentWithCVDiffInvocation");
        CVWireCoding::appendInvocation(message, *invocation);
        if (sd_bus_call(bus, message, 0, nullptr, reply.out()) < 0) {
            state.SkipWithError("the call failed");
            break;
        }
        std::optional<std::string> GUID;
        CVWireCoding::readStringOrNil(reply, &GUID);
        GUIDs.push_back(GUID.value_or(""));
        if (GUIDs.size() == kCloseBatch) {
            state.PauseTiming();
            closeDocuments(bus, GUIDs);
            state.ResumeTiming();
        }
    }
    closeDocuments(bus, GUIDs);
    std::vector<double> times = journaledMicroseconds(current.bed);
    double total = 0;
    for (size_t index = journaledBefore; index < times.size(); ++index) {
        total += times[index];
    }
    if (times.size() > journaledBefore) {
        state.counters["application_us"] =
            total / static_cast<double>(times.size() - journaledBefore);
    }
}
BENCHMARK(GUIDForTwoFileDiff)->Unit(benchmark::kMicrosecond);

// The bus alone: the smallest call the application answers.
void ProcessID(benchmark::State& state) {
    Session& current = session();
    if (!current.application) {
        state.SkipWithError("Corvane did not start");
        return;
    }
    sd_bus* bus = current.client->get();
    for (auto _ : state) {
        CVBusObject<sd_bus_message> reply;
        sd_bus_call_method(bus, Contract::kDistributedObjectsConnectionName,
                           Contract::kProxyObjectPath, Contract::kProxyInterface, "processID",
                           nullptr, reply.out(), "");
    }
}
BENCHMARK(ProcessID)->Unit(benchmark::kMicrosecond);

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    // The bed ends the application and its bus.
    delete &session();
    return 0;
}
