#include "manager/daemon.h"

#include <fcntl.h>
#include <pthread.h>
#include <signal.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <type_traits>

#include "manager/manager.h"
#include "tests/unit/manager/settled.h"
#include "tests/unit/sys/runs.h"
#include "zarnic/sys/function_call.h"

namespace {

using test::Outcome;
using test::settled;
using zarnic::sys::TExec;
using zarnic::sys::TFnCall;
using Body = std::function<int()>;

static_assert(std::is_same_v<decltype(runAsDaemon), void(TExec)>);

TExec call(const Body& body) { return TExec(TExec::Preparer(new TFnCall<Body>(body))); }

// The service process ends with 7, where it is reached.
TExec anyService() {
    return call([] { return 7; });
}

// Does something at the last moment before the service process is forked.
class BeforeFork : public TExec::TPrepare {
  public:
    explicit BeforeFork(std::function<void()> body) : body_(std::move(body)) {}
    void beforeFork(TExec& /*exec*/) override { body_(); }

  private:
    std::function<void()> body_;
};

TExec anyServiceAfter(const std::function<void()>& body) {
    return anyService().with(TExec::Preparer(new BeforeFork(body)));
}

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

class Daemon : public testing::Test {
  protected:
    // Notes lines in a file that all processes can append to.
    void note(const std::string& line) const {
        std::ofstream(dir / "notes", std::ios::app) << line << '\n';
    }

    void noteProcess(const std::string& who) const {
        note(who + " " + std::to_string(::getpid()) + " " + std::to_string(::getsid(0)));
    }

    std::string notes() const { return test::readFile(dir / "notes"); }

    // The pid and the session that a process noted.
    std::pair<int, int> process(const std::string& who) const {
        const test::Words found = test::reported(notes(), who);
        EXPECT_EQ(found.size(), 1U) << who << '\n' << notes();
        std::pair<int, int> numbers;
        std::istringstream(found.empty() ? std::string() : found.front()) >> numbers.first >>
            numbers.second;
        return numbers;
    }

    // Runs it as the front end would: what the user is to read is said, anything else noted.
    void runAndSay(const TExec& service) const {
        try {
            runAsDaemon(service);
        } catch (const TUError& error) {
            limit.reset();
            std::cout << error.message() << std::endl;
            std::exit(1);
        } catch (const std::exception& error) {
            limit.reset();
            note(error.what());
            std::exit(2);
        }
    }

    test::TempDir dir;
};

TEST_F(Daemon, ItReturnsInTheDetachedProcessOnly) {
    const Outcome outcome = settled([&] {
        noteProcess("caller");
        runAsDaemon(call([&] {
            noteProcess("service");
            return 7;
        }));
        noteProcess("detached");
    });
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.orphans, std::vector<int>({0, 0, 7}));
    const auto caller = process("caller");
    const auto detached = process("detached");
    const auto service = process("service");
    EXPECT_NE(detached.first, caller.first);
    EXPECT_NE(detached.first, service.first);
    EXPECT_EQ(detached.second, service.second);
}

TEST_F(Daemon, HangupIsIgnoredWithNothingBlockedMeanwhile) {
    settled([&] {
        struct sigaction own = {};
        own.sa_handler = [](int) {};
        ::sigfillset(&own.sa_mask);
        ::sigaction(SIGHUP, &own, nullptr);
        runAsDaemon(call([&] {
            struct sigaction now = {};
            ::sigaction(SIGHUP, nullptr, &now);
            note(now.sa_handler == SIG_IGN ? "ignored" : "not ignored");
            note((now.sa_flags & SA_RESTART) != 0 ? "restarting" : "not restarting");
            int masked = 0;
            for (int signal = 1; signal < NSIG; ++signal) {
                masked += ::sigismember(&now.sa_mask, signal) == 1 ? 1 : 0;
            }
            note(std::to_string(masked));
            return 0;
        }));
    });
    EXPECT_EQ(notes(), "ignored\nrestarting\n0\n");
}

// What the service's preparers see, and may still change.
TEST_F(Daemon, AllIsDoneBeforeTheServiceIsForked) {
    settled([&] {
        ::closefrom(3);
        noteProcess("caller");
        runAsDaemon(anyServiceAfter([&] {
            noteProcess("before");
            struct sigaction now = {};
            ::sigaction(SIGHUP, nullptr, &now);
            note(now.sa_handler == SIG_IGN ? "ignored" : "not ignored");
            for (int stream = 0; stream < 3; ++stream) {
                EXPECT_EQ(::fcntl(stream, F_GETFL) & O_ACCMODE, O_RDWR);
            }
            note(testing::Test::HasFailure() ? "cannot be used" : test::openDescriptors());
        }));
    });
    const auto before = process("before");
    EXPECT_NE(before.second, process("caller").second);
    EXPECT_NE(before.second, before.first);
    EXPECT_TRUE(
        notes().ends_with("\nignored\n0 -> /dev/null\n1 -> /dev/null\n2 -> /dev/null\n\n"))
        << notes();
}

using DaemonFailures = Daemon;

TEST_F(DaemonFailures, AFailedFirstForkIsThrownInTheCaller) {
    const Outcome outcome = settled([&] {
        const pid_t session = ::getsid(0);
        limit = std::make_unique<test::NoNewProcesses>();
        EXPECT_THROW(runAsDaemon(anyService()), TUError);
        limit.reset();
        note(::getsid(0) == session ? "same" : "other");
    });
    EXPECT_EQ(notes(), "same\n") << outcome.out;
    EXPECT_EQ(outcome.orphans, std::vector<int>());
}

TEST_F(DaemonFailures, AFailedSecondForkIsSaidByTheFirstChildOnTheStreamsItInherited) {
    const Outcome outcome = settled([&] {
        refuseForkAfter(1);
        runAndSay(anyService());
    });
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.orphans, std::vector<int>({1}));
    EXPECT_EQ(outcome.out, "Unable to run as daemon\n");
    EXPECT_EQ(outcome.err, "");
}

TEST_F(DaemonFailures, AFailedForkOfTheServiceIsThrownByTheDetachedProcess) {
    const Outcome outcome = settled([&] {
        refuseForkAfter(2);
        runAndSay(anyService());
    });
    EXPECT_EQ(outcome.orphans, std::vector<int>({0, 2}));
    EXPECT_EQ(notes(), std::strerror(EAGAIN) + std::string("\n"));
    EXPECT_EQ(outcome.out, "");
}

TEST_F(DaemonFailures, WhatThePreparersThrowIsThrownByTheDetachedProcess) {
    const Outcome outcome = settled(
        [&] { runAndSay(anyServiceAfter([] { throw std::runtime_error("refused"); })); });
    EXPECT_EQ(outcome.orphans, std::vector<int>({0, 2}));
    EXPECT_EQ(notes(), "refused\n");
}

// As exit and not _exit does: what the caller wrote before is not lost.
TEST_F(DaemonFailures, EveryProcessRunsTheExitHandlersOnce) {
    settled([&] {
        ::setenv("NOTES", (dir / "notes").c_str(), 1);
        std::atexit([] { std::ofstream(std::getenv("NOTES"), std::ios::app) << "end "; });
        runAsDaemon(anyService());
    });
    EXPECT_EQ(notes(), "end end end end ");
}

rlimit before{};

// The descriptors are given back just before the service process is forked. A first run on the
// spot meets every class, for which a checker of undefined behaviour may need descriptors.
TEST_F(DaemonFailures, WithoutTheNullDeviceTheServiceKeepsTheStreamsItHas) {
    const Outcome outcome = settled([] {
        ::getrlimit(RLIMIT_NOFILE, &before);
        std::atexit([] { ::setrlimit(RLIMIT_NOFILE, &before); });
        TExec service = call([] {
                            std::cout << "kept" << std::endl;
                            return 0;
                        }).with(TExec::Preparer(new BeforeFork([] {
            ::setrlimit(RLIMIT_NOFILE, &before);
        })));
        test::reap(service.run().pid);
        const rlimit none{0, before.rlim_max};
        ::setrlimit(RLIMIT_NOFILE, &none);
        runAsDaemon(service);
    });
    EXPECT_EQ(outcome.out, "kept\nkept\n") << outcome.err;
    EXPECT_EQ(outcome.orphans, std::vector<int>({0, 0, 0}));
}

}  // namespace
