// Starts of a daemon that fail, and how its processes end.

#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <functional>
#include <iostream>
#include <memory>
#include <stdexcept>

#include "manager/daemon.h"
#include "manager/front_end.h"
#include "manager/manager.h"
#include "tests/unit/manager/host.h"
#include "tests/unit/sys/runs.h"
#include "zarnic/sys/function_call.h"

namespace {

using test::Outcome;
using test::settled;
using zarnic::sys::TExec;
using zarnic::sys::TFnCall;
using Body = std::function<int()>;

TExec call(const Body& body) { return TExec(TExec::Preparer(new TFnCall<Body>(body))); }

// The daemon of a service process that must not be reached, or ends with 7.
TExec anyService() {
    return call([] { return 7; });
}

// Throws at the last moment before the service process is forked.
class Refuses : public TExec::TPrepare {
  public:
    void beforeFork(TExec& /*exec*/) override { throw std::runtime_error("refused"); }
};

std::unique_ptr<test::NoNewProcesses> limit;
int forks_left = 0;

// Called in every child of a fork, so that a later fork there is refused by the system.
void countFork() {
    if (--forks_left == 0) {
        limit = std::make_unique<test::NoNewProcesses>();
    }
}

// Lets the fork after the next `allowed` ones fail, counted down the line of children.
void refuseForkAfter(int allowed) {
    forks_left = allowed;
    ::pthread_atfork(nullptr, nullptr, countFork);
}

void say(const std::string& text) { std::cout << text << std::endl; }

// Runs it as the front end would, and says what was thrown.
void runAndSay(const TExec& service) {
    try {
        runAsDaemon(service);
    } catch (const TUError& error) {
        limit.reset();
        say(error.message());
        std::exit(1);
    } catch (const std::exception& error) {
        limit.reset();
        test::writeFile(std::getenv("SAID"), error.what());
        std::exit(2);
    }
}

TEST(DaemonFailures, AFailedFirstForkIsThrownInTheCaller) {
    const Outcome outcome = settled([] {
        const pid_t owner = ::getpid();
        const pid_t session = ::getsid(0);
        limit = std::make_unique<test::NoNewProcesses>();
        try {
            runAsDaemon(anyService());
            say("returned");
        } catch (const TUError& error) {
            say(error.message());
        }
        limit.reset();
        say(::getpid() == owner && ::getsid(0) == session ? "same" : "other");
    });
    EXPECT_EQ(outcome.out, "Unable to run as daemon\nsame\n");
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.orphans, std::vector<int>());
}

TEST(DaemonFailures, AFailedSecondForkIsSaidByTheFirstChildOnTheStreamsItInherited) {
    const Outcome outcome = settled([] {
        refuseForkAfter(1);
        runAndSay(anyService());
    });
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.orphans, std::vector<int>({1}));
    EXPECT_EQ(outcome.out, "Unable to run as daemon\n");
    EXPECT_EQ(outcome.err, "");
}

// The name's errors file would lie in a directory that does not exist: whatever goes wrong
// here, nothing is left behind.
TEST(DaemonFailures, TheWholeProgramReportsBothForks) {
    for (const int allowed : {0, 1}) {
        const Outcome outcome = settled([&] {
            if (allowed == 0) {
                limit = std::make_unique<test::NoNewProcesses>();
            } else {
                refuseForkAfter(allowed);
            }
            const char* const argv[] = {"avmanager", "--start-service", "--kav-dir=/none",
                                        "--service=none/none", nullptr};
            const int status = runCommandLine(4, argv);
            limit.reset();
            std::exit(status);
        });
        EXPECT_EQ(outcome.out, "Unable to run as daemon\n") << allowed;
        EXPECT_EQ(outcome.status, allowed == 0 ? 1 : 0);
        EXPECT_EQ(outcome.orphans, allowed == 0 ? std::vector<int>() : std::vector<int>({1}));
    }
}

TEST(DaemonFailures, AFailedForkOfTheServiceIsThrownByTheDetachedProcess) {
    const test::TempDir dir;
    const Outcome outcome = settled([&] {
        ::setenv("SAID", (dir / "said").c_str(), 1);
        refuseForkAfter(2);
        runAndSay(anyService());
    });
    EXPECT_EQ(outcome.orphans, std::vector<int>({0, 2}));
    EXPECT_EQ(test::readFile(dir / "said"), std::strerror(EAGAIN));
    EXPECT_EQ(outcome.out, "");
}

TEST(DaemonFailures, WhatThePreparersThrowIsThrownByTheDetachedProcess) {
    const test::TempDir dir;
    const Outcome outcome = settled([&] {
        ::setenv("SAID", (dir / "said").c_str(), 1);
        runAndSay(anyService().with(TExec::Preparer(new Refuses)));
    });
    EXPECT_EQ(outcome.orphans, std::vector<int>({0, 2}));
    EXPECT_EQ(test::readFile(dir / "said"), "refused");
}

// As exit and not _exit does: what the caller wrote before is not lost.
TEST(DaemonFailures, EveryProcessRunsTheExitHandlersOnce) {
    const test::TempDir dir;
    settled([&] {
        ::setenv("SAID", (dir / "said").c_str(), 1);
        std::atexit([] { std::ofstream(std::getenv("SAID"), std::ios::app) << "end "; });
        runAsDaemon(anyService());
    });
    EXPECT_EQ(test::readFile(dir / "said"), "end end end end ");
}

TEST(DaemonFailures, WhatTheCallerHadNotYetWrittenIsWrittenAtItsEnd) {
    const Outcome outcome = settled([] {
        std::printf("unwritten ");
        runAsDaemon(anyService());
    });
    // Twice, as the leader of the session has a copy of it; the streams of the others are null.
    EXPECT_EQ(outcome.out, "unwritten unwritten ");
}

rlimit before{};

// Gives the descriptors back just before the service process is forked.
class GivesBack : public TExec::TPrepare {
  public:
    void beforeFork(TExec& /*exec*/) override { ::setrlimit(RLIMIT_NOFILE, &before); }
};

// A first run on the spot meets every class, for which a checker of undefined behaviour may
// need descriptors.
TEST(DaemonFailures, WithoutTheNullDeviceTheServiceKeepsTheStreamsItHas) {
    const Outcome outcome = settled([] {
        ::getrlimit(RLIMIT_NOFILE, &before);
        std::atexit([] { ::setrlimit(RLIMIT_NOFILE, &before); });
        TExec service = call([] {
                            say("kept");
                            return 0;
                        }).with(TExec::Preparer(new GivesBack));
        test::reap(service.run().pid);
        const rlimit none{0, before.rlim_max};
        ::setrlimit(RLIMIT_NOFILE, &none);
        runAsDaemon(service);
    });
    EXPECT_EQ(outcome.out, "kept\nkept\n") << outcome.err;
    EXPECT_EQ(outcome.orphans, std::vector<int>({0, 0, 0}));
}

}  // namespace
