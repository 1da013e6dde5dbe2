// The comparison model on texts shaped like source code.
//
//   build/release/bench/comparison_benchmark
//
// TwentyThousandLines: two 20,000-line texts with 2,000 scattered one-line changes, compared and
// every changed chunk's words diffed (what a view of the whole file needs).
// MillionLines: two 1,000,000-line texts (about 60 MB each) with 1% of lines changed; the line
// diff alone. Peak memory: `/usr/bin/time -v build/release/bench/comparison_benchmark
// --benchmark_filter=MillionLines`, against the two texts' 120 MB.
// OneLongLine: two 5 MB texts of one line each, differing in one character.
// ReadingASide: one side of TwentyThousandLines read from its file.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstdio>

#include <random>
#include <string>
#include <string_view>

#include "app/CorvaneComparison.h"
#include "app/CorvaneText.h"

namespace {

// A line of about 60 bytes that looks like code.
std::string codeLine(std::mt19937& random, int number) {
    static const char* const words[] = {"int",    "count", "=",      "value",       "+",
                                        "offset", ";",     "return", "if",          "(",
                                        ")",      "{",     "}",      "std::string", "name"};
    std::string line = "    ";
    while (line.size() < 56) {
        line += words[random() % std::size(words)];
        line += ' ';
    }
    return line + std::to_string(number % 1000) + "\n";
}

// Two texts of `lines` lines where every `every`th line differs.
std::pair<std::string, std::string> texts(int lines, int every) {
    std::mt19937 random(42);
    std::string left;
    std::string right;
    left.reserve(static_cast<size_t>(lines) * 62);
    right.reserve(static_cast<size_t>(lines) * 62);
    for (int line = 0; line < lines; ++line) {
        std::string text = codeLine(random, line);
        left += text;
        if (line % every == every / 2) {
            text.insert(4, "changed ");
        }
        right += text;
    }
    return {std::move(left), std::move(right)};
}

std::vector<std::string_view> linesOf(std::string_view text, CorvaneLineRange range,
                                      const std::vector<size_t>& starts) {
    std::vector<std::string_view> lines;
    for (int line = range.start; line < range.end(); ++line) {
        size_t begin = starts[static_cast<size_t>(line)];
        size_t end = static_cast<size_t>(line) + 1 < starts.size()
                         ? starts[static_cast<size_t>(line) + 1]
                         : text.size();
        lines.push_back(text.substr(begin, end - begin));
    }
    return lines;
}

void TwentyThousandLines(benchmark::State& state) {
    auto [left, right] = texts(20000, 10);
    for (auto _ : state) {
        CorvaneComparison comparison = CorvaneCompare(left, right, {});
        std::vector<size_t> leftStarts = CorvaneLineStarts(left);
        std::vector<size_t> rightStarts = CorvaneLineStarts(right);
        for (const CorvaneChunk& chunk : comparison.chunks) {
            if (chunk.kind == CorvaneChunk::Kind::changed) {
                benchmark::DoNotOptimize(
                    CorvaneCompareInline(linesOf(left, chunk.left, leftStarts),
                                         linesOf(right, chunk.right, rightStarts)));
            }
        }
        state.counters["changes"] = comparison.changeCount();
    }
}
BENCHMARK(TwentyThousandLines)->Unit(benchmark::kMillisecond);

void MillionLines(benchmark::State& state) {
    auto [left, right] = texts(1000000, 100);
    for (auto _ : state) {
        CorvaneComparison comparison = CorvaneCompare(left, right, {});
        state.counters["changes"] = comparison.changeCount();
    }
    state.counters["MB"] = static_cast<double>(left.size()) / (1 << 20);
}
BENCHMARK(MillionLines)->Unit(benchmark::kMillisecond)->Iterations(3);

void OneLongLine(benchmark::State& state) {
    std::string left(5 << 20, 'x');
    std::string right = left;
    right[right.size() / 2] = 'y';
    for (auto _ : state) {
        benchmark::DoNotOptimize(CorvaneCompare(left, right, {}));
        benchmark::DoNotOptimize(CorvaneCompareInline({left}, {right}));
    }
}
BENCHMARK(OneLongLine)->Unit(benchmark::kMillisecond);

// Reading one side of TwentyThousandLines from its file, as the view does before comparing:
// the bytes, their checks (UTF-8, NUL, line ends) and where each line starts.
void ReadingASide(benchmark::State& state) {
    std::string path = "/tmp/comparison-benchmark-side.txt";
    {
        std::FILE* file = std::fopen(path.c_str(), "w");
        std::fputs(texts(20000, 10).first.c_str(), file);
        std::fclose(file);
    }
    int descriptor = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    unlink(path.c_str());
    for (auto _ : state) {
        CorvaneText text = CorvaneReadText(descriptor);
        benchmark::DoNotOptimize(CorvaneLineStarts(text.utf8));
    }
    close(descriptor);
}
BENCHMARK(ReadingASide)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
