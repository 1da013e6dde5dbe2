// Pairing two folders into file lists, the cost of comparing two large trees.
//
//   FolderPairingBenchmark [benchmark options]   times pairing of generated trees
//   FolderPairingBenchmark --pair LEFT RIGHT     pairs two folders once and prints the list count
//                                                 (for bench/folder-pairing.sh)
//   FolderPairingBenchmark --wire-size LEFT RIGHT  the changeset's size on the wire, a item
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string>

#include "model/CVCLISerializedChangeset.h"
#include "model/CVCLISerializedFileList.h"
#include "model/CVWireCoding.h"
#include "platform/CVBookmark.h"

namespace {

std::optional<CVCLISerializedFileList::FileLists> pair(const std::string& left,
                                                       const std::string& right) {
    return CVCLISerializedFileList::serializedFileListsWithRecursiveContentsOfLeft(
        left, std::nullopt, std::nullopt, right, std::nullopt, std::nullopt);
}

// Two trees of `files` files each in folders of 100, half of them on both sides.
class Trees {
public:
    explicit Trees(int files) {
        char pattern[] = "/tmp/cvdiff-pairing-XXXXXX";
        root_ = mkdtemp(pattern);
        for (int index = 0; index < files * 3 / 2; ++index) {
            bool onLeft = index < files;
            bool onRight = index >= files / 2;
            std::string name = "d";
            name += std::to_string(index / 100);
            name += "/f";
            name += std::to_string(index);
            for (const char* side : {"left", "right"}) {
                if ((side[0] == 'l' && onLeft) || (side[0] == 'r' && onRight)) {
                    std::string path = root_ + "/" + side + "/" + name;
                    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
                    close(open(path.c_str(), O_CREAT | O_WRONLY, 0644));
                }
            }
        }
    }
    ~Trees() { std::filesystem::remove_all(root_); }
    Trees(const Trees&) = delete;
    Trees& operator=(const Trees&) = delete;
    std::string left() const { return root_ + "/left"; }
    std::string right() const { return root_ + "/right"; }
    std::string aFile() const { return root_ + "/left/d0/f0"; }

private:
    std::string root_;
};

void BM_PairFolders(benchmark::State& state) {
    Trees trees(static_cast<int>(state.range(0)));
    size_t lists = 0;
    for (auto _ : state) {
        lists = pair(trees.left(), trees.right())->size();
        benchmark::DoNotOptimize(lists);
    }
    state.counters["lists"] = static_cast<double>(lists);
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(lists));
}
BENCHMARK(BM_PairFolders)->Arg(1000)->Arg(10000)->Unit(benchmark::kMillisecond);

void BM_CreateBookmark(benchmark::State& state) {
    Trees trees(100);
    for (auto _ : state) {
        benchmark::DoNotOptimize(CVBookmark::create(trees.aFile(), CVBookmark::minimalBookmark));
    }
}
BENCHMARK(BM_CreateBookmark);

void BM_ResolveBookmark(benchmark::State& state) {
    Trees trees(100);
    auto data = *CVBookmark::create(trees.aFile(), CVBookmark::minimalBookmark);
    for (auto _ : state) {
        benchmark::DoNotOptimize(CVBookmark::resolve(data, nullptr));
    }
}
BENCHMARK(BM_ResolveBookmark);

void BM_Stat(benchmark::State& state) {
    Trees trees(100);
    std::string path = trees.aFile();
    struct stat status {};
    for (auto _ : state) {
        benchmark::DoNotOptimize(stat(path.c_str(), &status));
    }
}
BENCHMARK(BM_Stat);

void BM_NameToHandle(benchmark::State& state) {
    Trees trees(100);
    std::string path = trees.aFile();
    alignas(file_handle) unsigned char storage[sizeof(file_handle) + MAX_HANDLE_SZ];
    auto* handle = reinterpret_cast<file_handle*>(storage);
    int mount = 0;
    for (auto _ : state) {
        handle->handle_bytes = MAX_HANDLE_SZ;
        benchmark::DoNotOptimize(name_to_handle_at(AT_FDCWD, path.c_str(), handle, &mount, 0));
    }
}
BENCHMARK(BM_NameToHandle);

}  // namespace

int main(int argc, char** argv) {
    if (argc == 4 && strcmp(argv[1], "--pair") == 0) {
        auto lists = pair(argv[2], argv[3]);
        if (!lists) {
            return 1;
        }
        printf("%zu\n", lists->size());
        return 0;
    }
    if (argc == 4 && strcmp(argv[1], "--wire-size") == 0) {
        auto lists = pair(argv[2], argv[3]);
        if (!lists) {
            return 1;
        }
        CVCLISerializedChangeset changeset;
        for (const auto& list : *lists) {
            changeset.addFileList(list);
        }
        size_t size = CVWireCoding::encodedSize(changeset);
        printf("%zu items, %zu bytes on the wire, %zu a item\n", lists->size(), size,
               lists->empty() ? 0 : size / lists->size());
        return 0;
    }
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
