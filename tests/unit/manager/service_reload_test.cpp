// The reload of the server, the one service that is not restarted.

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include "manager/commands.h"
#include "tests/unit/manager/service_runs.h"
#include "tests/unit/sys/runs.h"

namespace {

using test::handle;
using test::Outcome;
using test::Words;

class ServiceReload : public test::ServiceTest {
  protected:
    Words options(const std::string& pidText, const std::string& service = "aveserver") const {
        return {"--kav-dir=" + host.kav(), "--service=" + service,
                "--service-pidfile=" + host.file("pid", pidText)};
    }

    // Reloads a server that ends with 5 on its first SIGHUP, or stays when told so. Once it has
    // had it, the manager is woken from its pause: nobody needs to sit through that. The server
    // ends by SIGKILL when it stayed; how it ended is written to `out` by its pid file's owner.
    Outcome reload(bool stays) {
        return test::settled([&] {
            const test::Interrupts interrupts;
            host.enter();
            sigset_t hangup;
            ::sigemptyset(&hangup);
            ::sigaddset(&hangup, SIGHUP);
            ::sigaddset(&hangup, SIGTERM);
            ::sigprocmask(SIG_BLOCK, &hangup, nullptr);
            int ready[2];
            ASSERT_EQ(::pipe(ready), 0);
            const pid_t server = ::fork();
            if (server == 0) {
                serve(hangup, ready[1], stays);
            }
            const pid_t manager = ::fork();
            if (manager == 0) {
                std::exit(answer(options(std::to_string(server) + "\n")));
            }
            char got = 0;
            EXPECT_EQ(::read(ready[0], &got, 1), 1);
            EXPECT_EQ(got, SIGHUP);
            if (!stays) {
                EXPECT_EQ(test::reap(server), 5 << 8);
            }
            interrupts.interrupt(manager);
            const int status = test::reap(manager);
            if (stays) {
                EXPECT_EQ(::waitpid(server, nullptr, WNOHANG), 0);
                ::kill(server, SIGKILL);
            }
            std::exit(testing::Test::HasFailure() ? 99 : WEXITSTATUS(status));
        });
    }

  private:
    [[noreturn]] static void serve(const sigset_t& signals, int ready, bool stays) {
        int signal = 0;
        ::sigwait(&signals, &signal);
        const char byte = static_cast<char>(signal);
        const bool told = ::write(ready, &byte, 1) == 1;
        while (stays) {
            ::sigwait(&signals, &signal);
            std::_Exit(6);  // any further signal is one too many
        }
        std::_Exit(told ? 5 : 7);
    }

    static int answer(const Words& words) {
        try {
            return restartService(test::parserOf(words)) ? test::answered_true : 1;
        } catch (const TUError& error) {
            ::printf("%s\n", error.message().c_str());
            return test::threw;
        }
    }
};

TEST_F(ServiceReload, AServerThatSurvivesSighupIsReloaded) {
    const Outcome outcome = reload(true);
    EXPECT_EQ(outcome.status, test::answered_true);
    EXPECT_EQ(outcome.out + outcome.err, "");
    EXPECT_EQ(host.calls("aveserver"), 0);
    EXPECT_EQ(host.calls("cat"), 2);
}

TEST_F(ServiceReload, AServerThatIsGoneAfterSighupFailedToReload) {
    const Outcome outcome = reload(false);
    EXPECT_EQ(outcome.status, test::threw);
    EXPECT_EQ(outcome.out, "Service reloading failed\n");
    EXPECT_EQ(host.calls("aveserver"), 0);
    EXPECT_EQ(host.calls("cat"), 2);
}

// Without a group of its own a signal to "process 0" would end the caller.
TEST_F(ServiceReload, WithoutAProcessToSignalItSucceedsAndStartsNothing) {
    for (const char* const text : {"0", "0\n", "\n", "x", "99999999999"}) {
        const Outcome outcome = test::settled([&] {
            ::setpgid(0, 0);
            ::signal(SIGHUP, SIG_DFL);
            host.enter();
            std::exit(restartService(test::parserOf(options(text))) ? test::answered_true : 1);
        });
        EXPECT_EQ(outcome.status, test::answered_true) << text;
        EXPECT_EQ(outcome.orphans, std::vector<int>()) << text;
    }
    EXPECT_EQ(host.calls("aveserver"), 0);
    EXPECT_EQ(host.calls("cat"), 10);
}

TEST_F(ServiceReload, AnEmptySecondReadSucceedsWithoutASignal) {
    host.script("cat", "[ -e \"$1.read\" ] && exit 0; : > \"$1.read\"; echo 1\n");
    const Outcome outcome = handle(host, restartService, options("any"));
    EXPECT_EQ(outcome.status, test::answered_true);
    EXPECT_EQ(host.calls(), Words({"cat " + (host / "pid"), "cat " + (host / "pid")}));
}

TEST_F(ServiceReload, OnlyTheExactNameIsReloaded) {
    for (const char* const service : {"Aveserver", "aveserver2", "aveserve", "aveserver "}) {
        host.addProgram(service);
        const Outcome outcome = handle(host, restartService, options("0", service));
        EXPECT_EQ(outcome.status, 0) << service;
        EXPECT_EQ(outcome.orphans, std::vector<int>({0, 0, 0, test::answered_true})) << service;
    }
}

}  // namespace
