#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>

#include <cstddef>
#include <filesystem>
#include <type_traits>

#include "tests/unit/manager/service_runs.h"
#include "tests/unit/sys/runs.h"

namespace {

namespace fs = std::filesystem;
using test::errorsFile;
using test::Outcome;
using test::Words;

using ServiceBody = test::ServiceTest;

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

TEST_F(ServiceBody, AServiceWithoutAConfigurationFileHasNoArguments) {
    for (const char* const service : {"aveserver", "other"}) {
        EXPECT_EQ(vectorOf(service, "", "/p"), Words()) << service;
    }
}

TEST_F(ServiceBody, AServiceWithAConfigurationFileIsToldIt) {
    for (const char* const service : {"aveserver", "other"}) {
        EXPECT_EQ(vectorOf(service, "/a b", "/p"), Words({"-c", "/a%20b"})) << service;
    }
}

TEST_F(ServiceBody, TheUpdatersPidFilePairComesBeforeTheConfigurationFilePair) {
    EXPECT_EQ(vectorOf("keepup2date", "/c", "/p q"), Words({"-d", "/p%20q", "-c", "/c"}));
    EXPECT_EQ(vectorOf("keepup2date", "", "/p"), Words({"-d", "/p"}));
}

TEST_F(ServiceBody, TheUpdaterIsToldAnEmptyPidFileToo) {
    EXPECT_EQ(vectorOf("keepup2date", "/c", ""), Words({"-d", "", "-c", "/c"}));
    EXPECT_EQ(vectorOf("keepup2date", "", ""), Words({"-d", ""}));
}

TEST_F(ServiceBody, TheStatisticsScriptHasFiveArguments) {
    const std::string config = host.file("conf");
    const Words expected{"-x", "-r", "-n=1", "-sd=" + host.kav() + "/proc_avstat", config};
    EXPECT_EQ(vectorOf("parse_avstat.pl", config, "/p"), expected);
    EXPECT_EQ(vectorOf("parse_avstat.pl", host.kav(), "").back(), host.kav());
}

TEST_F(ServiceBody, NamesThatOnlyResembleTheTwoAreOrdinaryServices) {
    for (const char* const service :
         {"keepup2date2", "keepup2dat", "Keepup2date", "parse_avstat", "parse_avstat.plx"}) {
        host.addProgram(service);
        EXPECT_EQ(vectorOf(service, "/none", "/p"), Words({"-c", "/none"})) << service;
        EXPECT_EQ(vectorOf(service, "", "/p"), Words()) << service;
    }
}

TEST_F(ServiceBody, TheProgramsPathIsPlainlyPutTogether) {
    const std::string config = host.file("conf");
    const std::string kavDir = host.kav() + "//./";
    run({kavDir, "parse_avstat.pl", config, ""});
    const Words argv = test::reported(host.report("parse_avstat.pl"), "argv");
    EXPECT_EQ(argv.front(), kavDir + "/bin/parse_avstat.pl");
    EXPECT_EQ(argv.at(4), "-sd=" + kavDir + "/proc_avstat");
}

TEST_F(ServiceBody, TheProgramIsNotLookedForInThePath) {
    fs::rename(host.kav() + "/bin/other", host / "path/other");
    fs::rename(host.kav() + "/bin/aveserver", host / "path/bin");
    run({host.kav(), "other", "", ""});
    run({"", "other", "", ""});
    EXPECT_EQ(host.calls("other"), 0);
}

TEST_F(ServiceBody, TheProgramHasTheCallersStreamsAndNoOtherDescriptor) {
    host.act("other", "report");
    const Outcome outcome = test::settled([&] {
        ::closefrom(3);
        host.enter();
        other()();
    });
    EXPECT_EQ(test::inherited(outcome.out), std::set<int>({0, 1, 2}));
    const std::string report = host.report("other");
    EXPECT_EQ(test::target(report, 2).find("/dev/null"), std::string::npos);
}

TEST_F(ServiceBody, TheProgramRunsOnceAndIsReaped) {
    const Outcome outcome = run(other());
    EXPECT_EQ(host.calls("other"), 1);
    const int feeder = 0;  // of the errors file's text: nobody waits for it
    EXPECT_EQ(outcome.orphans, std::vector<int>({feeder}));
}

TEST_F(ServiceBody, AProgramWithoutAnInterpreterLineStillRuns) {
    const std::string path = host.kav() + "/bin/other";
    fs::remove(path);
    host.file("kav/bin/other", "exit 5\n");
    fs::permissions(path, fs::perms::owner_all);
    EXPECT_EQ(run(other()).out, "Service failed");
    EXPECT_EQ(recorded(), "5");
}

TEST_F(ServiceBody, TheStatisticsScriptWithoutItsConfigurationFileIsSkipped) {
    for (const std::string& config : {std::string(), host / "none", host.file("f") + "/x"}) {
        test::writeFile(errorsFile("parse_avstat.pl"), "9");
        const Outcome outcome = run({host.kav(), "parse_avstat.pl", config, ""});
        EXPECT_EQ(outcome.out, "0") << config;
        EXPECT_FALSE(fs::exists(errorsFile("parse_avstat.pl"))) << config;
    }
    EXPECT_EQ(host.calls(), Words());
}

// The runner's own wait would answer 255 to a stop, and no interrupted wait.
TEST_F(ServiceBody, AProgramThatNobodyCanWaitForIsAnError) {
    const Outcome outcome = test::settled([&] {
        ::signal(SIGCHLD, SIG_IGN);
        host.enter();
        std::exit(test::report(other()));
    });
    EXPECT_EQ(outcome.out, "ExSystemError<10>: waitpid() failed: No child processes");
    EXPECT_EQ(host.calls("other"), 1);
    EXPECT_FALSE(fs::exists(errorsFile("other")));
}

TEST_F(ServiceBody, AnInterruptedWaitIsAnErrorAndNotRepeated) {
    host.act("other", "serve " + (host / "pid"));
    const Outcome outcome = test::settled([&] {
        const test::Interrupts interrupts;
        const pid_t waiting = ::getpid();
        host.enter();
        if (::fork() == 0) {
            while (!fs::exists(host / "pid")) {
                ::usleep(1000);
            }
            interrupts.interrupt(waiting);
            std::exit(0);
        }
        const int end = test::report(other());
        ::kill(std::stoi(test::readFile(host / "pid")), SIGTERM);
        std::exit(end);
    });
    EXPECT_EQ(outcome.out, "ExSystemError<4>: waitpid() failed: Interrupted system callTERM\n");
    EXPECT_FALSE(fs::exists(errorsFile("other")));
}

// The child that could not become the program comes back with the error; the status that it
// ends with is taken for the program's.
TEST_F(ServiceBody, AProgramThatCannotBeStartedIsRecordedByItsChildsStatus) {
    host.remove("other");
    EXPECT_EQ(run(other()).out, "TSysCallErr: No such file or directoryService failed");
    EXPECT_EQ(recorded(), "2");
    host.file("kav/bin/other");
    EXPECT_EQ(run(other()).out, "TSysCallErr: Permission deniedService failed");
    EXPECT_EQ(recorded(), "13");
}

}  // namespace
