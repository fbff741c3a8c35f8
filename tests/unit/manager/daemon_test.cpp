#include "manager/daemon.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <functional>
#include <iostream>
#include <type_traits>

#include "tests/unit/manager/host.h"
#include "tests/unit/sys/runs.h"
#include "zarnic/sys/function_call.h"

namespace {

using test::Outcome;
using test::settled;
using test::Words;
using zarnic::sys::TExec;
using zarnic::sys::TFnCall;
using Body = std::function<int()>;

static_assert(std::is_same_v<decltype(runAsDaemon), void(TExec)>);

TExec call(const Body& body) { return TExec(TExec::Preparer(new TFnCall<Body>(body))); }

// Says where it is run at the last moment before the fork of the service process.
class BeforeFork : public TExec::TPrepare {
  public:
    explicit BeforeFork(std::function<void()> body) : body_(std::move(body)) {}
    void beforeFork(TExec& /*exec*/) override { body_(); }

  private:
    std::function<void()> body_;
};

class Daemon : public testing::Test {
  protected:
    // Notes lines about a process in a file that all processes can append to.
    void note(const std::string& line) const {
        std::ofstream(dir / "notes", std::ios::app) << line << '\n';
    }

    void noteProcess(const std::string& who) const {
        note(who + " " + std::to_string(::getpid()) + " " + std::to_string(::getppid()) + " " +
             std::to_string(::getsid(0)) + " " + std::to_string(::getpgrp()));
    }

    std::string notes() const { return test::readFile(dir / "notes"); }

    // The pid, parent, session and group that a process noted.
    std::vector<int> process(const std::string& who) const {
        const Words found = test::reported(notes(), who);
        EXPECT_EQ(found.size(), 1U) << who << '\n' << notes();
        std::vector<int> numbers(4);
        std::istringstream line(found.empty() ? std::string() : found.front());
        for (int& number : numbers) {
            line >> number;
        }
        return numbers;
    }

    // The report of the probe when it is run as the service.
    std::string probeReport(const std::function<void()>& prepare = [] {}) const {
        settled([&] {
            prepare();
            runAsDaemon(test::probe({"report"}).toFile(dir / "report"));
        });
        return test::readFile(dir / "report");
    }

    test::TempDir dir;
};

TEST_F(Daemon, EveryProcessOfAStartEndsWithZeroAndSaysNothing) {
    const Outcome outcome = settled([] { runAsDaemon(call([] { return 7; })); });
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.orphans, std::vector<int>({0, 0, 7}));
    EXPECT_EQ(outcome.out + outcome.err, "");
}

TEST_F(Daemon, ItReturnsInTheDetachedProcessOnly) {
    settled([&] {
        noteProcess("caller");
        runAsDaemon(call([&] {
            noteProcess("service");
            return 0;
        }));
        noteProcess("detached");
    });
    const auto caller = process("caller");
    const auto detached = process("detached");
    const auto service = process("service");
    EXPECT_NE(detached[0], caller[0]);
    EXPECT_NE(detached[0], service[0]);
    EXPECT_EQ(detached[2], service[2]);
}

TEST_F(Daemon, TheServiceIsInASessionOfItsOwnThatItDoesNotLead) {
    settled([&] {
        noteProcess("caller");
        runAsDaemon(call([&] {
            noteProcess("service");
            return 0;
        }));
    });
    const auto caller = process("caller");
    const auto service = process("service");
    EXPECT_NE(service[2], caller[2]);
    EXPECT_NE(service[2], caller[0]);
    EXPECT_NE(service[2], service[0]);
    EXPECT_EQ(service[2], service[3]);
}

TEST_F(Daemon, TheServiceIsRunOnce) {
    settled([&] {
        runAsDaemon(call([&] {
            note("run");
            return 0;
        }));
    });
    EXPECT_EQ(notes(), "run\n");
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

TEST_F(Daemon, AProgramRunAsTheServiceInheritsTheIgnoredHangupAndNoOtherSignal) {
    const std::string report = probeReport([] {
        for (int signal = 1; signal < NSIG; ++signal) {
            ::signal(signal, SIG_DFL);
        }
    });
    EXPECT_EQ(std::stoull(test::reported(report, "ignored").at(0), nullptr, 16),
              1ULL << (SIGHUP - 1));
    EXPECT_EQ(std::stoull(test::reported(report, "blocked").at(0), nullptr, 16), 0U);
}

// Both parents ended before the service's own fork, and it is the streams' last moment.
TEST_F(Daemon, AllIsDoneBeforeTheServiceIsForked) {
    settled([&] {
        noteProcess("caller");
        runAsDaemon(call([] { return 0; }).with(TExec::Preparer(new BeforeFork([&] {
            noteProcess("before");
            struct sigaction now = {};
            ::sigaction(SIGHUP, nullptr, &now);
            note(now.sa_handler == SIG_IGN ? "ignored" : "not ignored");
            note(test::openDescriptors());
        }))));
    });
    const auto before = process("before");
    EXPECT_NE(before[2], process("caller")[2]);
    EXPECT_NE(before[2], before[0]);
    EXPECT_NE(notes().find("\nignored\n0 -> /dev/null\n1 -> /dev/null\n2 -> /dev/null\n"),
              std::string::npos)
        << notes();
}

TEST_F(Daemon, NothingOfTheStreamsOrOfTheirReplacementIsLeftOpen) {
    settled([&] {
        ::closefrom(3);
        runAsDaemon(call([&] {
            test::writeFile(dir / "notes", test::openDescriptors());
            return 0;
        }));
    });
    EXPECT_EQ(notes(), "0 -> /dev/null\n1 -> /dev/null\n2 -> /dev/null\n");
}

TEST_F(Daemon, WhicheverStreamsWereClosedTheServiceHasThreeNullStreams) {
    for (int closed = 0; closed < 8; ++closed) {
        settled([&] {
            ::closefrom(3);
            for (int stream = 0; stream < 3; ++stream) {
                if ((closed & 1 << stream) != 0) {
                    ::close(stream);
                }
            }
            runAsDaemon(call([&] {
                test::writeFile(dir / "notes", test::openDescriptors());
                return 0;
            }));
        });
        EXPECT_EQ(notes(), "0 -> /dev/null\n1 -> /dev/null\n2 -> /dev/null\n") << closed;
    }
}

TEST_F(Daemon, TheNullStreamsCanBeReadAndWritten) {
    settled([&] {
        runAsDaemon(call([&] {
            for (int stream = 0; stream < 3; ++stream) {
                note(std::to_string(::fcntl(stream, F_GETFL) & O_ACCMODE));
            }
            return 0;
        }));
    });
    const std::string both = std::to_string(O_RDWR) + "\n";
    EXPECT_EQ(notes(), both + both + both);
}

TEST_F(Daemon, OtherDescriptorsWorkingDirectoryAndUmaskStay) {
    settled([&] {
        ::closefrom(3);
        ASSERT_EQ(::open("/dev/zero", O_RDONLY), 3);
        ASSERT_EQ(::chdir(dir.path().c_str()), 0);
        ::umask(0123);
        runAsDaemon(call([&] {
            char where[4096];
            note(::getcwd(where, sizeof where));
            note(std::to_string(::umask(0)));
            note(test::openDescriptors());
            return 0;
        }));
    });
    EXPECT_NE(notes().find(dir.path() + "\n" + std::to_string(0123) + "\n"), std::string::npos);
    EXPECT_NE(notes().find("3 -> /dev/zero\n"), std::string::npos);
}

}  // namespace
