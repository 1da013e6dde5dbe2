// The cost of one scan of the process table for running applications, per process looked at.
#include <benchmark/benchmark.h>
#include <dirent.h>

#include <cctype>

#include "platform/CVRunningApplication.h"

namespace {

int64_t processCount() {
    int64_t count = 0;
    DIR* folder = opendir("/proc");
    while (dirent* entry = folder != nullptr ? readdir(folder) : nullptr) {
        count += std::isdigit(static_cast<unsigned char>(entry->d_name[0])) != 0 ? 1 : 0;
    }
    if (folder != nullptr) {
        closedir(folder);
    }
    return count;
}

void scanRunningApplications(benchmark::State& state) {
    int64_t processes = processCount();
    for (auto _ : state) {
        benchmark::DoNotOptimize(CVRunningApplication::runningApplications());
    }
    state.counters["processes"] = static_cast<double>(processes);
    // Seconds per process looked at.
    state.counters["per_process"] = benchmark::Counter(
        static_cast<double>(processes),
        benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}
BENCHMARK(scanRunningApplications)->Unit(benchmark::kMicrosecond);

void lookUpOneProcess(benchmark::State& state) {
    for (auto _ : state) {
        benchmark::DoNotOptimize(CVRunningApplication::runningApplicationWithProcessIdentifier(1));
    }
}
BENCHMARK(lookUpOneProcess)->Unit(benchmark::kMicrosecond);

}  // namespace

BENCHMARK_MAIN();
