// The errors file of the service body: what is in it after each way in which a program ends.

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>

#include <filesystem>

#include "tests/unit/manager/service_runs.h"
#include "tests/unit/sys/runs.h"

namespace {

namespace fs = std::filesystem;
using test::errorsFile;
using test::Outcome;
using test::Words;

// The message of the user's error that one run ends in.
std::string failure(TStartKAVService body) {
    try {
        EXPECT_EQ(body(), 0);
    } catch (const TUError& error) {
        return error.message();
    }
    return "none";
}

class ErrorsFile : public test::ServiceTest {
  protected:
    // Ends a run by a program that first leaves an errors file of its own.
    Outcome runLeaving(const std::string& text, const std::string& end) {
        host.script("other", "echo " + text + " > " + errorsFile("other") + "; " + end + "\n");
        return run(other());
    }
};

// A plain script and the system's own cat: there are many runs.
TEST_F(ErrorsFile, EveryExitCodeIsRecordedAndAllButZeroAreFailures) {
    host.remove("cat");
    fs::create_symlink("/bin/cat", host / "path/cat");
    host.file("kav/bin/other", "#!/bin/sh\nread code < \"$2\"\nexit $code\n");
    for (int code = 0; code < 256; ++code) {
        const std::string config = host.file("code", std::to_string(code) + "\n");
        test::isolated([&] {
            host.enter();
            EXPECT_EQ(failure({host.kav(), "other", config, ""}),
                      code == 0 ? "none" : "Service failed");
            EXPECT_EQ(recorded(), std::to_string(code));
        });
    }
}

TEST_F(ErrorsFile, EachServiceHasItsOwn) {
    host.act("keepup2date", "exit 3");
    run({host.kav(), "keepup2date", "", ""});
    run(other());
    EXPECT_EQ(test::readFile(errorsFile("keepup2date")), "3");
    EXPECT_EQ(recorded(), "0");
}

TEST_F(ErrorsFile, AnEndByASignalIsASuccessWithoutAnErrorsFile) {
    for (const int signal : {SIGHUP, SIGINT, SIGQUIT, SIGILL, SIGABRT, SIGFPE, SIGKILL, SIGSEGV,
                             SIGPIPE, SIGALRM, SIGTERM, SIGUSR1, SIGSYS, 64}) {
        host.act("other", "die " + std::to_string(signal));
        EXPECT_EQ(run(other()).out, "0") << signal;
        EXPECT_EQ(recorded(), "none") << signal;
    }
    EXPECT_EQ(host.calls("cat"), 0);
}

TEST_F(ErrorsFile, WhatIsThereAfterAnEndByASignalIsRemoved) {
    EXPECT_EQ(runLeaving("9", "kill -TERM $$").out, "0");
    EXPECT_EQ(recorded(), "none");
}

TEST_F(ErrorsFile, AStopIsASuccessWithoutAnErrorsFile) {
    host.act("other", "stop");
    const Outcome outcome = test::settled([&] {
        host.enter();
        const int end = test::report(other());
        const Words pids = test::reported(host.report("other"), "pid");
        ::kill(std::stoi(pids.at(0)), SIGKILL);
        std::exit(end);
    });
    EXPECT_EQ(outcome.out, "0");
    EXPECT_EQ(recorded(), "none");
    EXPECT_EQ(outcome.orphans, std::vector<int>({1000 + SIGKILL}));
}

TEST_F(ErrorsFile, WhatIsThereAfterAStopIsRemoved) {
    host.script("other", "echo $$ > " + host / "stopped" + "; echo 9 > " + errorsFile("other") +
                             "; kill -STOP $$\n");
    const Outcome outcome = test::settled([&] {
        host.enter();
        const int end = test::report(other());
        ::kill(std::stoi(test::readFile(host / "stopped")), SIGKILL);
        std::exit(end);
    });
    EXPECT_EQ(outcome.out, "0");
    EXPECT_EQ(recorded(), "none");
}

TEST_F(ErrorsFile, AnOldOneIsGoneBeforeTheProgramStarts) {
    test::writeFile(errorsFile("other"), "9");
    host.script("other", "[ -e " + errorsFile("other") + " ] && exit 7; exit 0\n");
    EXPECT_EQ(run(other()).out, "0");
    EXPECT_EQ(recorded(), "0");
}

TEST_F(ErrorsFile, ALongerOneIsTruncated) {
    EXPECT_EQ(runLeaving("99999", "exit 3").out, "Service failed");
    EXPECT_EQ(recorded(), "3");
}

TEST_F(ErrorsFile, OneThatCannotBeRemovedOrWrittenIsIgnored) {
    fs::create_directory(errorsFile("other"));
    EXPECT_EQ(run(other()).out, "0");
    host.act("other", "exit 3");
    EXPECT_EQ(run(other()).out, "Service failed");
    host.act("other", "die 15");
    EXPECT_EQ(run(other()).out, "0");
    EXPECT_TRUE(fs::is_directory(errorsFile("other")));
}

TEST_F(ErrorsFile, ItIsWrittenByCatAloneFromAPipe) {
    run(other());
    EXPECT_EQ(host.calls(), Words({"other", "cat"}));
    const std::string report = host.report("cat");
    EXPECT_EQ(test::reported(report, "argv"), Words({"cat"}));
    EXPECT_TRUE(test::target(report, 0).starts_with("pipe:"));
    EXPECT_EQ(test::target(report, 1), errorsFile("other"));
}

TEST_F(ErrorsFile, WhatCatReadsIsTheBareNumber) {
    host.act("cat", "count");
    for (const auto& [code, length] : {std::pair{"0", "1"}, {"42", "2"}, {"255", "3"}}) {
        host.act("other", std::string("exit ") + code);
        run(other());
        EXPECT_EQ(recorded(), length) << code;
    }
}

TEST_F(ErrorsFile, HowItsCatEndsIsNotExamined) {
    for (const char* const end : {"exit 4", "die 9"}) {
        host.act("cat", end);
        host.act("other", "exit 0");
        EXPECT_EQ(run(other()).out, "0");
        host.act("other", "exit 3");
        EXPECT_EQ(run(other()).out, "Service failed");
        EXPECT_EQ(recorded(), "");
    }
}

TEST_F(ErrorsFile, ItsCatIsWaitedFor) {
    host.script("cat", "/bin/sleep 0.1; echo late\n");
    const Outcome outcome = test::settled([&] {
        host.enter();
        other()();
        std::exit(recorded() == "late\n" ? 0 : 1);
    });
    EXPECT_EQ(outcome.status, 0);
}

// Standard output is the errors file already when the child comes back with the error.
TEST_F(ErrorsFile, WithoutCatTheChildWritesTheErrorIntoIt) {
    host.remove("cat");
    EXPECT_EQ(run(other()).out, "0");
    EXPECT_EQ(recorded(), "TSysCallErr: No such file or directory");
    host.act("other", "exit 3");
    EXPECT_EQ(run(other()).out, "Service failed");
}

TEST_F(ErrorsFile, ItIsCreatedForOwnerAndGroupToWriteLessTheUmask) {
    for (const auto& [mask, mode] : {std::pair{0U, 0664U}, {077U, 0600U}}) {
        test::settled([&, set = mask] {
            ::umask(set);
            host.enter();
            other()();
        });
        EXPECT_EQ(static_cast<unsigned>(fs::status(errorsFile("other")).permissions()), mode);
    }
}

}  // namespace
