// What the application does with a large changeset streamed to it: decoding every frame and
// making each file list an item, without the bus or the socket. This is the application's share
// of `cvdiff --changeset` on two large trees, which it does while the tool still writes.
//
//   build/release/bench/StreamedInvocationBenchmark
//
// The stream arrives in reads of 200 KiB, as from a socket.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <string>
#include <thread>

#include "ChangesetItem.h"
#include "app/CorvaneInvocationReader.h"
#include "model/CVCLISerializedChangeset.h"
#include "model/CVCLISerializedDiffInvocation.h"
#include "model/CVPackedInvocationWriter.h"

namespace {

std::string changesetStream(int items) {
    CVCLISerializedDiffInvocation invocation;
    invocation.setChangeset(std::make_shared<CVCLISerializedChangeset>());
    invocation.setParentPID(getpid());
    invocation.setParentProcessName("zsh");
    CVPackedInvocationWriter writer;
    writer.begin(invocation);
    int reading = dup(writer.readingEnd());
    writer.closeReadingEnd();
    std::string stream;
    std::thread reader([&] {
        std::string chunk(1 << 20, '\0');
        for (ssize_t count = 0; (count = read(reading, chunk.data(), chunk.size())) > 0;) {
            stream.append(chunk, 0, size_t(count));
        }
    });
    for (int index = 0; index < items; ++index) {
        writer.addFileList(*benchmarkChangesetItem(index));
    }
    writer.finish();
    reader.join();
    close(reading);
    return stream;
}

void ReadingAStreamedChangeset(benchmark::State& state) {
    std::string stream = changesetStream(int(state.range(0)));
    constexpr size_t kRead = 200 << 10;
    for (auto _ : state) {
        // The second argument: whether a journal is written, for which the lists are kept.
        CorvaneInvocationReader::StreamedInvocation invocation(state.range(1) != 0);
        std::string why;
        for (size_t offset = 0; offset < stream.size(); offset += kRead) {
            invocation.append(std::string_view(stream).substr(offset, kRead), &why);
        }
        auto read = invocation.finish(&why);
        if (!read || read->request.fileLists.size() != size_t(state.range(0))) {
            state.SkipWithError(why.c_str());
        }
        benchmark::DoNotOptimize(read);
    }
    state.counters["MB"] = double(stream.size()) / 1e6;
}
BENCHMARK(ReadingAStreamedChangeset)
    ->Args({150000, 0})
    ->Args({150000, 1})
    ->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
