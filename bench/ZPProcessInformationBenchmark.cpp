// The cost of finding the caller: from the deepest of a chain of ten processes, step to each
// parent and test its name the way the version-control tests do, up to process 1.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <string_view>

#include "TestProcess.h"
#include "process/ZPProcessInformation.h"

namespace {

bool isVersionControlName(const std::optional<std::string>& name) {
    static constexpr std::array<std::string_view, 6> kNames = {"git", "svn", "p4",
                                                               "brz", "bzr", "hg"};
    return name && std::ranges::find(kNames, *name) != kNames.end();
}

void BM_WalkUpATenProcessChain(benchmark::State& state) {
    TestProcess chain(processTestHelperPath(), {"helper", "--chain", "9"}, {});
    pid_t deepest = chain.reportedPid();
    if (deepest <= 0) {
        state.SkipWithError("the process chain did not start");
        return;
    }
    int steps = 0;
    for (auto _ : state) {
        steps = 0;
        auto process = ZPProcessInformation::processInformationWithProcessIdentifier(deepest);
        bool found = false;
        while (!found && (process = process->parentProcessInformation())) {
            found = isVersionControlName(process->processName());
            ++steps;
        }
        benchmark::DoNotOptimize(found);
    }
    state.counters["steps"] = steps;
}
BENCHMARK(BM_WalkUpATenProcessChain)->Unit(benchmark::kMicrosecond);

void BM_ReadOneProcess(benchmark::State& state) {
    pid_t self = getpid();
    for (auto _ : state) {
        ZPProcessInformation process(self);
        benchmark::DoNotOptimize(process.processName());
    }
}
BENCHMARK(BM_ReadOneProcess)->Unit(benchmark::kMicrosecond);

void BM_ReadArgumentsAndEnvironment(benchmark::State& state) {
    pid_t self = getpid();
    for (auto _ : state) {
        ZPProcessInformation process(self);
        benchmark::DoNotOptimize(process.arguments());
        benchmark::DoNotOptimize(process.environment());
    }
}
BENCHMARK(BM_ReadArgumentsAndEnvironment)->Unit(benchmark::kMicrosecond);

}  // namespace

BENCHMARK_MAIN();
