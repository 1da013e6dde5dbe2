// Building one file list from many operands (`cvdiff f1 f2 ... fN`): every file described and
// checked against the others for duplicates. The cost must grow linearly with the count.
//
//   build/release/bench/FileListBenchmark
//
// Compare the 10000 case with the 1000 case: within ten times is linear.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "model/CVCLISerializedFile.h"
#include "model/CVCLISerializedFileList.h"

namespace {

void FileListOfOperands(benchmark::State& state) {
    auto count = static_cast<int>(state.range(0));
    std::filesystem::path folder =
        std::filesystem::temp_directory_path() / ("cvdiff-bench-" + std::to_string(getpid()));
    std::filesystem::create_directories(folder);
    std::vector<std::string> paths;
    for (int index = 0; index < count; ++index) {
        paths.push_back(folder / ("file-" + std::to_string(index) + ".txt"));
        std::FILE* file = std::fopen(paths.back().c_str(), "w");
        std::fclose(file);
    }
    for (auto _ : state) {
        CVCLISerializedFileList::Files files;
        files.reserve(paths.size());
        for (const std::string& path : paths) {
            files.push_back(CVCLISerializedFile::serializedExpectedFileWithPath(path, std::nullopt,
                                                                                std::nullopt));
        }
        auto list =
            CVCLISerializedFileList::serializedFileListWithRelativePath(std::nullopt, files);
        benchmark::DoNotOptimize(list);
    }
    std::filesystem::remove_all(folder);
}
BENCHMARK(FileListOfOperands)->Arg(1000)->Arg(10000)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
