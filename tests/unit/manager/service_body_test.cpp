#include <signal.h>

#include <cstddef>
#include <type_traits>

#include "manager/manager.h"
#include "tests/unit/sys/runs.h"
#include "zarnic/error/system_error.h"

namespace {

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

TEST(ServiceBody, ItKeepsItsFourTextsInOrder) {
    const TStartKAVService start("dir", "name", "conf", "pid");
    const TStartKAVService copy(start);
    for (const TStartKAVService* const each : {&start, &copy}) {
        EXPECT_EQ(each->kavDir, "dir");
        EXPECT_EQ(each->service, "name");
        EXPECT_EQ(each->configFile, "conf");
        EXPECT_EQ(each->pidFile, "pid");
    }
}

TEST(ServiceBody, ItReturnsZeroOrThrows) {
    test::isolated([] {
        EXPECT_EQ(TStartKAVService("/usr", "true", "", "")(), 0);
        EXPECT_EQ(TStartKAVService("/none", "parse_avstat.pl", "", "")(), 0);
        EXPECT_THROW(TStartKAVService("/usr", "false", "", "")(), TUError);
        ::signal(SIGCHLD, SIG_IGN);  // nobody can wait for a program then
        try {
            TStartKAVService("/usr", "true", "", "")();
            FAIL() << "it returned";
        } catch (const zarnic::ExSystemError<ECHILD>& error) {
            EXPECT_STREQ(error.what(), "waitpid() failed: No child processes");
        }
    });
}

}  // namespace
