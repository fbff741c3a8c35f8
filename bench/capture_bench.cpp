// Read everything that a program prints, from nothing to 64 MiB; and the same of a pipeline of
// three programs.

#include <benchmark/benchmark.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <string>

#include "bench/plain.h"
#include "zarnic/sys/output.h"

namespace {

using zarnic::sys::el;
using zarnic::sys::TEArgs;
using zarnic::sys::TExec;

std::string sizeText(const benchmark::State& state) { return std::to_string(state.range(0)); }

void requireSize(const benchmark::State& state, const std::string& text) {
    if (text.size() != static_cast<std::size_t>(state.range(0))) {
        plain::fail("a capture of another size");
    }
}

// A capture leaves its descriptor open for the rest of the process. The peers close theirs, and
// so this one is closed here, within the time that is measured.
void captureChecked(benchmark::State& state) {
    const TExec writer(TEArgs(el) << WRITER_PROGRAM << sizeText(state));
    const int leftOpen = plain::lowestFreeDescriptor();
    for (auto _ : state) {
        std::string text;
        zarnic::sys::checkedOutput(text, writer);
        ::close(leftOpen);
        requireSize(state, text);
    }
}

void capturePlain(benchmark::State& state) {
    const std::string size = sizeText(state);
    const char* const writer[] = {WRITER_PROGRAM, size.c_str(), nullptr};
    for (auto _ : state) {
        requireSize(state, plain::capture(writer));
    }
}

void capturePopen(benchmark::State& state) {
    const std::string command = WRITER_PROGRAM " " + sizeText(state);
    for (auto _ : state) {
        std::FILE* const stream = ::popen(command.c_str(), "r");
        if (stream == nullptr) {
            plain::fail("popen");
        }
        std::string text;
        char chunk[1024];
        for (std::size_t length; (length = std::fread(chunk, 1, sizeof chunk, stream)) > 0;) {
            text.append(chunk, length);
        }
        if (::pclose(stream) != 0) {
            plain::fail("pclose");
        }
        requireSize(state, text);
    }
}

void sizes(benchmark::internal::Benchmark* bench) {
    bench->Arg(0)->Arg(1 << 10)->Arg(1 << 20)->Arg(64 << 20)->UseRealTime();
}

BENCHMARK(captureChecked)->Name("capture/checkedOutput")->Apply(sizes);
BENCHMARK(capturePlain)->Name("capture/pipe, fork, exec, read")->Apply(sizes);
BENCHMARK(capturePopen)->Name("capture/popen")->Apply(sizes);

// The programs before the last one are nobody's to wait for in the library; a shell waits for
// all, and so the benchmark does.
void pipelineOurs(benchmark::State& state) {
    const auto pipeline = TExec(TEArgs(el) << WRITER_PROGRAM << "1024") |
                          TExec(TEArgs(el) << "cat") | TExec(TEArgs(el) << "cat");
    const int leftOpen = plain::lowestFreeDescriptor();
    for (auto _ : state) {
        std::string text;
        zarnic::sys::checkedOutput(text, pipeline);
        while (::waitpid(-1, nullptr, 0) > 0) {}
        // The first pipe is given up before the capture's is made, which gets its numbers.
        ::close(leftOpen);
        if (text.size() != 1024) {
            plain::fail("a pipeline of another size");
        }
    }
    if (plain::lowestFreeDescriptor() != leftOpen) {
        plain::fail("a descriptor that nobody closed");
    }
}

void pipelineShell(benchmark::State& state) {
    const char* const shell[] = {"sh", "-c", WRITER_PROGRAM " 1024 | cat | cat", nullptr};
    for (auto _ : state) {
        if (plain::capture(shell).size() != 1024) {
            plain::fail("a pipeline of another size");
        }
    }
}

BENCHMARK(pipelineOurs)->Name("pipeline/three TExec")->Arg(1024)->UseRealTime();
BENCHMARK(pipelineShell)->Name("pipeline/sh -c")->Arg(1024)->UseRealTime();

}  // namespace
