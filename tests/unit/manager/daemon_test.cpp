#include "manager/daemon.h"

#include <fcntl.h>
#include <pthread.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>

#include <fstream>
#include <iostream>
#include <set>
#include <string>
#include <type_traits>

#include "manager/manager.h"
#include "tests/unit/sys/runs.h"
#include "zarnic/sys/function_call.h"

namespace {

using zarnic::sys::TExec;

static_assert(std::is_same_v<decltype(runAsDaemon), void(TExec)>);

// How a process and those that it left behind ended, and what all of them wrote.
struct Outcome {
    std::string ends;  // exit status, ": ", and the others' in ascending order: "0: 0 0 7"
    std::string out;
    std::string err;
};

// Runs `body` in a process of its own, which ends with 0 when the body returns.
Outcome settled(const std::function<void()>& body) {
    const test::TempDir dir;
    const test::Captured captured = test::inChild([&] {
        ::prctl(PR_SET_CHILD_SUBREAPER, 1);
        const pid_t first = ::fork();
        if (first == 0) {
            body();
            std::exit(0);
        }
        std::string ends;
        std::multiset<int> others;
        int status = 0;
        for (pid_t pid = 0; (pid = ::waitpid(-1, &status, 0)) > 0;) {
            const int end = WIFEXITED(status) ? WEXITSTATUS(status) : 1000 + WTERMSIG(status);
            if (pid == first) {
                ends = std::to_string(end) + ":";
            } else {
                others.insert(end);
            }
        }
        for (const int other : others) {
            ends += " " + std::to_string(other);
        }
        test::writeFile(dir / "ends", ends);
    });
    return {test::readFile(dir / "ends"), captured.out, captured.err};
}

// Does something at the last moment before the service process is forked.
class BeforeFork : public TExec::TPrepare {
  public:
    explicit BeforeFork(std::function<void()> body) : body_(std::move(body)) {}
    void beforeFork(TExec& /*exec*/) override { body_(); }

  private:
    std::function<void()> body_;
};

// The service process ends with what the first returns.
TExec service(const std::function<int()>& body, const std::function<void()>& before) {
    return zarnic::sys::functionCall(body).with(TExec::Preparer(new BeforeFork(before)));
}

// What SIGHUP comes to, and how many signals its handler would block.
std::string hangup() {
    struct sigaction now = {};
    ::sigaction(SIGHUP, nullptr, &now);
    int masked = 0;
    for (int signal = 1; signal < NSIG; ++signal) {
        masked += ::sigismember(&now.sa_mask, signal) == 1 ? 1 : 0;
    }
    return std::string(now.sa_handler == SIG_IGN ? "ignored, " : "not ignored, ") +
           ((now.sa_flags & SA_RESTART) != 0 ? "restarting, " : "not restarting, ") +
           std::to_string(masked);
}

// A file for lines of all processes, their ends among them.
class Daemon : public testing::Test {
  protected:
    Daemon() { ::setenv("NOTES", (dir / "notes").c_str(), 1); }

    static void note(const std::string& line) {
        std::ofstream(std::getenv("NOTES"), std::ios::app) << line << '\n';
    }

    std::string notes() const { return test::readFile(dir / "notes"); }

    test::TempDir dir;
};

// What the service's preparers see, and may still change.
TEST_F(Daemon, AllIsDoneBeforeTheServiceIsForked) {
    settled([] {
        ::closefrom(3);
        struct sigaction own = {};
        own.sa_handler = [](int) {};
        ::sigfillset(&own.sa_mask);
        ::sigaction(SIGHUP, &own, nullptr);
        const pid_t session = ::getsid(0);
        runAsDaemon(service([] { return 0; },
                            [session] {
                                const pid_t now = ::getsid(0);
                                note(now != session && now != ::getpid() ? "apart" : "not");
                                note(hangup());
                                for (const int stream : {0, 1, 2}) {
                                    note(std::to_string(::fcntl(stream, F_GETFL) & O_ACCMODE));
                                }
                                note(test::openDescriptors());
                            }));
    });
    EXPECT_EQ(notes(),
              "apart\nignored, restarting, 0\n2\n2\n2\n"
              "0 -> /dev/null\n1 -> /dev/null\n2 -> /dev/null\n\n");
}

// By exit and not _exit: what the caller wrote before is not lost.
TEST_F(Daemon, EveryProcessRunsTheExitHandlersOnceAndOnlyTheDetachedOneReturns) {
    const Outcome outcome = settled([] {
        std::atexit([] { note("end"); });
        const pid_t caller = ::getpid();
        runAsDaemon(service([] { return 7; }, [] {}));
        std::exit(::getpid() == caller ? 1 : 40);
    });
    EXPECT_EQ(outcome.ends, "0: 0 7 40");
    EXPECT_EQ(notes(), "end\nend\nend\nend\n");
}

using DaemonFailures = Daemon;

// Called in the child of a fork: the next one is refused by the system.
void refuseForks() { static const test::NoNewProcesses limit; }

TEST_F(DaemonFailures, AFailedSecondForkIsSaidByTheFirstChildOnTheStreamsItInherited) {
    const Outcome outcome = settled([] {
        ::pthread_atfork(nullptr, nullptr, refuseForks);
        try {
            runAsDaemon(service([] { return 7; }, [] {}));
        } catch (const TUError& error) {
            std::cout << error.message() << std::endl;
            std::exit(41);
        }
    });
    EXPECT_EQ(outcome.ends, "0: 41");
    EXPECT_EQ(outcome.out, "Unable to run as daemon\n");
    EXPECT_EQ(outcome.err, "");
}

rlimit before{};

// The descriptors are given back just before the service process is forked. A first run on the
// spot meets every class, for which a checker of undefined behaviour may need descriptors.
TEST_F(DaemonFailures, WithoutTheNullDeviceTheServiceKeepsTheStreamsItHas) {
    const Outcome outcome = settled([] {
        ::getrlimit(RLIMIT_NOFILE, &before);
        std::atexit([] { ::setrlimit(RLIMIT_NOFILE, &before); });
        TExec kept = service(
            [] {
                std::cout << "kept" << std::endl;
                return 0;
            },
            [] { ::setrlimit(RLIMIT_NOFILE, &before); });
        test::reap(kept.run().pid);
        const rlimit none{0, before.rlim_max};
        ::setrlimit(RLIMIT_NOFILE, &none);
        runAsDaemon(kept);
    });
    EXPECT_EQ(outcome.out, "kept\nkept\n") << outcome.err;
    EXPECT_EQ(outcome.ends, "0: 0 0 0");
}

}  // namespace
