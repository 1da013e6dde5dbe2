// Packing and unpacking the invocation of a large changeset: what the tool codes into the sealed
// file and what the application decodes from it, without the bus or the file.
//
//   build/release/bench/PackedCodingBenchmark
//
// Each item is a file list of two walked files with bookmarks and a relative path, as a pairing of
// two folders makes them.
#include <benchmark/benchmark.h>

#include <string>

#include "model/CVCLISerializedChangeset.h"
#include "model/CVCLISerializedDiffInvocation.h"
#include "model/CVCLISerializedFile.h"
#include "model/CVCLISerializedFileList.h"
#include "model/CVPackedCoding.h"

namespace {

CVCLISerializedDiffInvocation changesetInvocation(int items) {
    auto changeset = std::make_shared<CVCLISerializedChangeset>();
    for (int index = 0; index < items; ++index) {
        std::string path =
            "folder" + std::to_string(index / 100) + "/file" + std::to_string(index) + ".txt";
        auto list = std::make_shared<CVCLISerializedFileList>();
        list->setRelativePath(path);
        for (const char* side : {"/home/person/left/", "/home/person/right/"}) {
            list->addFile(CVCLISerializedFile::serializedWalkedFileWithPath(
                side + path, 2049, uint64_t(index), std::nullopt, std::nullopt));
        }
        changeset->addFileList(std::move(list));
    }
    CVCLISerializedDiffInvocation invocation;
    invocation.setChangeset(changeset);
    invocation.setParentPID(1234);
    invocation.setParentProcessName("zsh");
    return invocation;
}

void PackingAChangeset(benchmark::State& state) {
    CVCLISerializedDiffInvocation invocation = changesetInvocation(int(state.range(0)));
    for (auto _ : state) {
        auto bytes = CVPackedCoding::pack(invocation);
        benchmark::DoNotOptimize(bytes);
    }
}
BENCHMARK(PackingAChangeset)->Arg(150000)->Unit(benchmark::kMillisecond);

void UnpackingAChangeset(benchmark::State& state) {
    std::string bytes = *CVPackedCoding::pack(changesetInvocation(int(state.range(0))));
    for (auto _ : state) {
        auto record = CVPackedCoding::unpack(bytes, nullptr);
        benchmark::DoNotOptimize(record);
    }
    state.counters["MB"] = double(bytes.size()) / 1e6;
}
BENCHMARK(UnpackingAChangeset)->Arg(150000)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
