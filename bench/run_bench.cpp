// Run and wait for a program that does nothing, from a small process and from one that has
// 256 MiB in use: a fork copies the page tables of what its caller uses.

#include <benchmark/benchmark.h>

#include <vector>

#include "bench/plain.h"
#include "zarnic/sys/exec.h"

namespace {

using zarnic::sys::el;
using zarnic::sys::TEArgs;
using zarnic::sys::TExec;

const char* const program[] = {EMPTY_PROGRAM, nullptr};

// Memory that was written to, of `state.range(0)` MiB.
std::vector<char> ballast(const benchmark::State& state) {
    return std::vector<char>(static_cast<std::size_t>(state.range(0)) << 20, 'x');
}

void runTExec(benchmark::State& state) {
    const std::vector<char> used = ballast(state);
    TExec exec(TEArgs(el) << EMPTY_PROGRAM);
    for (auto _ : state) {
        if (exec.run().code != 0) {
            plain::fail("run");
        }
    }
    benchmark::DoNotOptimize(used.data());
}

void runPlain(benchmark::State& state) {
    const std::vector<char> used = ballast(state);
    for (auto _ : state) {
        plain::wait(plain::start(program));
    }
    benchmark::DoNotOptimize(used.data());
}

void runSpawn(benchmark::State& state) {
    const std::vector<char> used = ballast(state);
    for (auto _ : state) {
        plain::wait(plain::spawn(program));
    }
    benchmark::DoNotOptimize(used.data());
}

BENCHMARK(runTExec)->Name("run/TExec::run")->Arg(0)->Arg(256)->UseRealTime();
BENCHMARK(runPlain)->Name("run/fork, execvp, waitpid")->Arg(0)->Arg(256)->UseRealTime();
BENCHMARK(runSpawn)->Name("run/posix_spawn")->Arg(0)->Arg(256)->UseRealTime();

}  // namespace
