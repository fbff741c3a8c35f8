// What the front end makes of each kind of error, all of them by the conditions that cause
// them.

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>

#include <iostream>

#include "manager/front_end.h"
#include "tests/unit/manager/service_runs.h"
#include "tests/unit/sys/runs.h"

namespace {

using test::command;
using test::Outcome;
using test::Words;

class FrontEndErrors : public test::ServiceTest {
  protected:
    void expectLine(const Words& arguments, const std::string& line) {
        expectLine(command(host, arguments), line);
    }

    static void expectLine(const Outcome& outcome, const std::string& line) {
        EXPECT_EQ(outcome.status, 1);
        EXPECT_EQ(outcome.out, line + "\n");
        EXPECT_EQ(outcome.err, "");
    }

    // A service command on the service "other", whose pid file holds the text.
    Words service(const std::string& name, const std::string& pidText) {
        return {"--" + name, "--kav-dir=" + host.kav(), "--service=other",
                "--service-pidfile=" + host.file("pid", pidText)};
    }

    static int call(Words words) {
        words.insert(words.begin(), "avmanager");
        std::vector<const char*> argv;
        for (const std::string& word : words) {
            argv.push_back(word.c_str());
        }
        return runCommandLine(static_cast<int>(argv.size()), argv.data());
    }
};

TEST_F(FrontEndErrors, TheUsersErrorsArePrintedBare) {
    expectLine({"--check-install", "--kav-dir=/none"},
               "Kaspersky Anti-Virus server is not installed");
    expectLine(service("start-service", "1"), "Service is running already");
    expectLine(service("service-started", ""), "Service is not running");
    expectLine(service("kill-service", ""), "Service is stopped already");
}

TEST_F(FrontEndErrors, AServiceThatFailsInTheForegroundIsTheUsersError) {
    host.act("other", "exit 3");
    Words arguments = service("start-service", "");
    arguments.push_back("--no-daemon=1");
    expectLine(arguments, "Service failed");
}

TEST_F(FrontEndErrors, TheParsersErrorsArePrintedBare) {
    expectLine({"--delete-file"}, "Requires long option '--file'");
    expectLine({"--delete-file", "--file"}, "Incorrect long option '--file'");
    expectLine({"--bogus=value"}, "Unknown option '--bogus'");
    expectLine({"-x"}, "Unknown option '-x'");
}

// The first call is for checkers of undefined behaviour, which may need descriptors when they
// meet a class for the first time; so does the error that is thrown.
TEST_F(FrontEndErrors, AFailedSystemCallIsPrintedAsTheSystemsText) {
    const Words arguments = service("service-started", "1");
    const Outcome outcome = test::settled([&] {
        host.enter();
        call(arguments);
        test::thrownErrno([] { throw zarnic::sys::TSysCallErr(EMFILE); });
        rlimit before{};
        ::getrlimit(RLIMIT_NOFILE, &before);
        const rlimit none{0, before.rlim_max};
        ::setrlimit(RLIMIT_NOFILE, &none);
        const int status = call(arguments);
        ::setrlimit(RLIMIT_NOFILE, &before);
        std::exit(status);
    });
    expectLine(outcome, "Service is started\nToo many open files");
}

TEST_F(FrontEndErrors, AFailingCatOfThePidFileIsAnError) {
    for (const char* const end : {"exit 1", "exit 255", "die 9", "die 15"}) {
        host.act("cat", std::string("args 12; ") + end);
        for (const char* const name :
             {"start-service", "service-started", "kill-service", "restart-service"}) {
            expectLine(service(name, "12"), "Error");
        }
    }
}

TEST_F(FrontEndErrors, WithoutCatThePidFileIsAnErrorAndTheChildSaysNothing) {
    host.remove("cat");
    expectLine(service("service-started", "12"), "Error");
}

TEST_F(FrontEndErrors, AServiceThatNobodyCanWaitForIsAnError) {
    Words arguments = service("start-service", "");
    arguments.push_back("--no-daemon=1");
    arguments.erase(arguments.begin() + 3);  // its cat could not be waited for either
    const Outcome outcome = test::settled([&] {
        ::signal(SIGCHLD, SIG_IGN);
        host.enter();
        std::exit(call(arguments));
    });
    expectLine(outcome, "Error");
}

TEST_F(FrontEndErrors, TheChildThatCouldNotBecomeAProgramEndsWithOneLineToo) {
    host.remove("cp");
    host.act("chown", "exit 0");
    const Outcome outcome =
        command(host, {"--save-to-config-file", "--file=a", "--config-file=b"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out, "No such file or directory\n");
    EXPECT_EQ(host.calls(), Words({"chown root b"}));
}

TEST_F(FrontEndErrors, AServiceProgramThatIsMissingIsSaidByTheChildAndThenByTheManager) {
    host.remove("other");
    Words arguments = service("start-service", "");
    arguments.push_back("--no-daemon=1");
    expectLine(arguments, "No such file or directory\nService failed");
    EXPECT_EQ(recorded(), "1");
}

TEST_F(FrontEndErrors, TheErrorLineIsWrittenAtOnce) {
    const Outcome outcome = test::settled([] {
        call({"--bogus"});
        std::_Exit(3);
    });
    EXPECT_EQ(outcome.out, "Unknown option '--bogus'\n");
}

// Each process of a daemon start writes at its end what it still holds.
TEST_F(FrontEndErrors, NoLineIsWrittenAgainByTheProcessesOfALaterStart) {
    const std::string kavDir = "--kav-dir=" + host.kav();
    const Outcome outcome = test::settled([&] {
        host.enter();
        call({"--check-install", kavDir});
        call({"--check-install", "--kav-dir=/none"});
        call({"--bogus"});
        call(service("service-started", "1"));
        call({"--start-service", kavDir, "--service=other"});
    });
    EXPECT_EQ(outcome.out,
              "Kaspersky Anti-Virus server is installed\n"
              "Kaspersky Anti-Virus server is not installed\n"
              "Unknown option '--bogus'\n"
              "Service is started\n");
    EXPECT_EQ(host.calls("other"), 1);
}

}  // namespace
