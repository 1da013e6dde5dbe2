// The changeset list of a complete changeset of two folders: building it, filtering it, and the
// memory it holds beyond the document's own file lists.
//
//   changeset_items_benchmark [benchmark options]
//
// The counter bytesPerItem is the list's live heap bytes per item after it was built (every
// allocation is counted by the replaced operator new below).
#include <benchmark/benchmark.h>

#include <atomic>
#include <cstdlib>
#include <new>

#include "app/CorvaneChangesetItems.h"

namespace {

std::atomic<long long> liveBytes{0};
constexpr size_t kHeader = alignof(std::max_align_t);

}  // namespace

// The replacements below are this program's operator new and delete: GCC cannot see that they
// pair, and warns about the free in delete.
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"

// A counting allocator can only sit on malloc and free.
// NOLINTBEGIN(cppcoreguidelines-no-malloc)
void* operator new(size_t size) {
    auto* block = static_cast<char*>(std::malloc(size + kHeader));
    if (block == nullptr) {
        throw std::bad_alloc();
    }
    *reinterpret_cast<size_t*>(block) = size;
    liveBytes += static_cast<long long>(size);
    return block + kHeader;
}

void operator delete(void* pointer) noexcept {
    if (pointer != nullptr) {
        char* block = static_cast<char*>(pointer) - kHeader;
        liveBytes -= static_cast<long long>(*reinterpret_cast<size_t*>(block));
        std::free(block);
    }
}
// NOLINTEND(cppcoreguidelines-no-malloc)

void operator delete(void* pointer, size_t) noexcept {
    operator delete(pointer);
}

namespace {

CorvaneDocument completeChangeset(int items) {
    CorvaneDocument document;
    document.kind = CorvaneDocumentKind::changeset;
    document.fileLists.reserve(static_cast<size_t>(items));
    for (int index = 0; index < items; ++index) {
        std::string path =
            "folder" + std::to_string(index / 100) + "/file" + std::to_string(index) + ".txt";
        CorvaneFileList list;
        list.files = {"/home/person/left/" + path, "/home/person/right/" + path};
        list.relativePath = path;
        list.status = index % 10 == 0 ? 1 : 0;
        document.fileLists.push_back(std::move(list));
    }
    return document;
}

void BuildingTheList(benchmark::State& state) {
    CorvaneDocument document = completeChangeset(static_cast<int>(state.range(0)));
    long long bytes = 0;
    for (auto _ : state) {
        long long before = liveBytes;
        CorvaneChangesetItems items(document);
        bytes = liveBytes - before;
        benchmark::DoNotOptimize(items.count());
    }
    state.counters["bytesPerItem"] =
        static_cast<double>(bytes) / static_cast<double>(state.range(0));
}
BENCHMARK(BuildingTheList)->Arg(100000)->Unit(benchmark::kMillisecond);

void FilteringTheList(benchmark::State& state) {
    CorvaneDocument document = completeChangeset(static_cast<int>(state.range(0)));
    CorvaneChangesetItems items(document);
    bool toggle = false;
    for (auto _ : state) {
        items.setFilter((toggle = !toggle) ? "FILE12" : "folder7/");
        benchmark::DoNotOptimize(items.count());
    }
}
BENCHMARK(FilteringTheList)->Arg(100000)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
