// Argument lists: as many additions as a list takes, the last of them to a copy, which detaches
// it from the original.

#include <benchmark/benchmark.h>

#include <string>
#include <vector>

#include "zarnic/sys/exec_args.h"

namespace {

using zarnic::sys::TEArgs;

constexpr std::size_t additions = TEArgs::max_size - 1;

// Half of them short enough to need no memory of their own.
std::vector<std::string> makeWords() {
    std::vector<std::string> words;
    for (std::size_t i = 0; i < additions; ++i) {
        const std::string number = std::to_string(i);
        words.push_back(i % 2 == 0 ? "-n=" + number : "--configuration=/opt/kav/etc/" + number);
    }
    return words;
}

void argumentsTEArgs(benchmark::State& state) {
    const std::vector<std::string> words = makeWords();
    for (auto _ : state) {
        TEArgs list(zarnic::sys::el);
        for (const std::string& word : words) {
            list << word;
        }
        TEArgs copy(list);
        copy << "last";
        benchmark::DoNotOptimize(copy.elements().data());
    }
}

void argumentsVector(benchmark::State& state) {
    const std::vector<std::string> words = makeWords();
    for (auto _ : state) {
        std::vector<std::string> list;
        for (const std::string& word : words) {
            list.push_back(word);
        }
        std::vector<std::string> copy(list);
        copy.emplace_back("last");
        benchmark::DoNotOptimize(copy.data());
    }
}

BENCHMARK(argumentsTEArgs)->Name("arguments/TEArgs")->Arg(100);
BENCHMARK(argumentsVector)->Name("arguments/std::vector<std::string>")->Arg(100);

}  // namespace
