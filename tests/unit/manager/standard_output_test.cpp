// Nothing may wait in standard output's buffer at a fork: parent and child would both write it.

#include <pthread.h>
#include <stdio_ext.h>
#include <sys/mman.h>

#include <cstdlib>

#include "tests/unit/manager/service_runs.h"

namespace {

using test::Words;

struct Forks {
    int all;
    int unflushed;
};

// Shared with every process that comes of this one.
Forks* forks = nullptr;

void count() {
    ++forks->all;
    forks->unflushed += __fpending(stdout) != 0 ? 1 : 0;
}

[[gnu::constructor]] void watchForks() {
    void* const page = ::mmap(nullptr, sizeof(Forks), PROT_READ | PROT_WRITE,
                              MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (page == MAP_FAILED || ::pthread_atfork(count, nullptr, nullptr) != 0) {
        std::abort();
    }
    forks = static_cast<Forks*>(page);
}

class StandardOutput : public test::ServiceTest {
  protected:
    // The forks of a command, the one that the command itself is run in included.
    int forksOf(const Words& arguments) {
        const int before = forks->all;
        test::command(host, arguments);
        return forks->all - before;
    }

    Words service(const std::string& name, const std::string& pidText) {
        return {"--" + name, "--kav-dir=" + host.kav(), "--service=other",
                "--service-pidfile=" + host.file("pid", pidText)};
    }
};

TEST_F(StandardOutput, HoldsNothingAtAnyForkOfAnyCommand) {
    host.act("other", "exit 3");
    Words foreground = service("start-service", "");
    foreground.push_back("--no-daemon=1");
    EXPECT_GE(forksOf(foreground), 4);
    EXPECT_GE(forksOf(service("start-service", "")), 6);
    EXPECT_GE(forksOf(service("restart-service", "0")), 8);
    EXPECT_GE(forksOf(service("service-started", "0")), 2);
    EXPECT_GE(forksOf(service("kill-service", "0")), 3);
    const std::string file = "--file=" + host.file("file", "content");
    EXPECT_GE(forksOf({"--config-file-content", file}), 2);
    EXPECT_GE(forksOf({"--save-to-config-file", file, "--config-file=" + (host / "new")}), 3);
    EXPECT_EQ(forks->unflushed, 0);
}

}  // namespace
