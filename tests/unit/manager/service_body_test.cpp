#include <signal.h>

#include <cstddef>
#include <filesystem>
#include <type_traits>

#include "manager/manager.h"
#include "tests/unit/sys/runs.h"
#include "zarnic/error/system_error.h"

namespace {

namespace fs = std::filesystem;

class ServiceBody : public test::RunTest {};

// The body travels by value into the process that runs it.
static_assert(std::is_copy_constructible_v<TStartKAVService>);
static_assert(std::is_copy_assignable_v<TStartKAVService>);
static_assert(!std::is_polymorphic_v<TStartKAVService>);
static_assert(std::is_same_v<std::invoke_result_t<TStartKAVService&>, int>);

static_assert(std::is_standard_layout_v<TStartKAVService>);
static_assert(offsetof(TStartKAVService, kavDir) == 0);
static_assert(offsetof(TStartKAVService, service) == sizeof(std::string));
static_assert(offsetof(TStartKAVService, configFile) == 2 * sizeof(std::string));
static_assert(offsetof(TStartKAVService, pidFile) == 3 * sizeof(std::string));
static_assert(offsetof(TStartKAVService, fileStatus) == 4 * sizeof(std::string));
static_assert(sizeof(TStartKAVService) == 4 * sizeof(std::string) + sizeof(struct stat));

TEST_F(ServiceBody, ItKeepsItsFourTextsInOrder) {
    const TStartKAVService start("dir", "name", "conf", "pid");
    const TStartKAVService copy(start);
    for (const TStartKAVService* const each : {&start, &copy}) {
        EXPECT_EQ(each->kavDir, "dir");
        EXPECT_EQ(each->service, "name");
        EXPECT_EQ(each->configFile, "conf");
        EXPECT_EQ(each->pidFile, "pid");
    }
}

TEST_F(ServiceBody, ItReturnsZeroOrThrowsTheUsersError) {
    test::isolated([] {
        EXPECT_EQ(TStartKAVService("/usr", "true", "", "")(), 0);
        EXPECT_THROW(TStartKAVService("/usr", "false", "", "")(), TUError);
        EXPECT_EQ(TStartKAVService("/none", "parse_avstat.pl", "", "")(), 0);
    });
}

// The message of the error of this number that one run ends in.
template <int Number>
std::string failure(TStartKAVService body) {
    try {
        body();
    } catch (const zarnic::ExSystemError<Number>& error) {
        return error.what();
    }
    return "none";
}

// The runner's own wait would answer 255 to a stop, and no interrupted wait.
TEST_F(ServiceBody, AProgramThatNobodyCanWaitForIsAnError) {
    test::isolated([] {
        ::signal(SIGCHLD, SIG_IGN);
        EXPECT_EQ(failure<ECHILD>({"/usr", "true", "", ""}),
                  "waitpid() failed: No child processes");
        EXPECT_FALSE(fs::exists("/tmp/zrckav_true_errors"));
    });
}

TEST_F(ServiceBody, AnInterruptedWaitIsAnErrorAndNotRepeated) {
    const test::TempDir dir;
    fs::create_directory(dir / "bin");
    fs::copy_file(PROBE_PATH, dir / "bin/serve");
    fs::create_directory(dir / "record");
    test::writeFile(dir / "record/serve.act", "serve " + (dir / "pid"));
    test::isolated([&] {
        const test::Interrupts interrupts;
        const pid_t waiting = ::getpid();
        if (::fork() == 0) {
            while (test::readFile(dir / "pid").empty()) {
                ::usleep(1000);
            }
            interrupts.interrupt(waiting);
            std::_Exit(0);
        }
        EXPECT_EQ(failure<EINTR>({dir.path(), "serve", "", ""}),
                  "waitpid() failed: Interrupted system call");
        ::kill(std::stoi(test::readFile(dir / "pid")), SIGTERM);
        EXPECT_FALSE(fs::exists("/tmp/zrckav_serve_errors"));
    });
}

}  // namespace
