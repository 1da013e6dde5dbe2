// Packing and unpacking the invocation of a large changeset: what the tool codes into its stream
// and what the application decodes from it, without the bus or the socket.
//
//   build/release/bench/PackedCodingBenchmark
//
#include <benchmark/benchmark.h>

#include <string>

#include "ChangesetItem.h"
#include "model/CVCLISerializedChangeset.h"
#include "model/CVCLISerializedDiffInvocation.h"
#include "model/CVPackedCoding.h"

namespace {

CVCLISerializedDiffInvocation changesetInvocation(int items) {
    auto changeset = std::make_shared<CVCLISerializedChangeset>();
    for (int index = 0; index < items; ++index) {
        changeset->addFileList(benchmarkChangesetItem(index));
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
