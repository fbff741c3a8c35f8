// Runs with memory refused in the caller, before and after its forks, and in the children,
// between fork and exec.

#include <dirent.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <string>

#include "tests/failures/memory/refusal.h"
#include "tests/support/capture.h"
#include "zarnic/sys/function_call.h"
#include "zarnic/sys/output.h"
#include "zarnic/sys/preparers.h"
#include "zarnic/sys/wait.h"

namespace {

using test::Attempt;
using test::forEveryRefusal;
using test::out_of_memory;
using test::Refused;
using test::runRefused;
using zarnic::sys::TEArgs;
using zarnic::sys::TExec;
using zarnic::sys::TExecList;
using zarnic::sys::TExecResult;

const std::string text = "a text that is too long to be kept inside a string";

TExec probe(const char* verb, const std::string& detail) {
    return TExec(TEArgs() << PROBE_PATH << verb << detail);
}

int descriptors() {
    DIR* const list = ::opendir("/proc/self/fd");
    int count = 0;
    while (::readdir(list) != nullptr) {
        ++count;
    }
    ::closedir(list);
    return count;
}

// Waits for every child that is left, and tells how many there were.
int reapAll() {
    int count = 0;
    while (::waitpid(-1, nullptr, 0) > 0) {
        ++count;
    }
    EXPECT_EQ(errno, ECHILD);
    return count;
}

TEST(RefusedRun, CallerNeedsNoMemoryToRunAndWait) {
    TExec exec = probe("exit", "3");
    Attempt attempt(1, true, Refused::caller);
    TExecResult result{0, 0};
    EXPECT_FALSE(runRefused(attempt, [&] { result = exec.run(); }));
    EXPECT_EQ(result.code, 3);
    EXPECT_FALSE(attempt.refused());
}

TEST(RefusedRun, ChildWithoutMemoryComesBackByBadAllocAndNeverRunsTheProgram) {
    forEveryRefusal(
        [](Attempt& attempt) {
            TExec exec = probe("exit", "3");
            TExecResult result{0, 0};
            EXPECT_FALSE(runRefused(attempt, [&] { result = exec.run(); }));
            EXPECT_EQ(result.code, attempt.refused() ? out_of_memory : 3);
        },
        Refused::children);
}

TEST(RefusedRun, ProgramThatCannotBeStartedIsAnErrorOrBadAllocInTheChild) {
    forEveryRefusal(
        [](Attempt& attempt) {
            TExec exec(TEArgs() << "/no/such/program/anywhere/at/all");
            TExecResult result{0, 0};
            runRefused(attempt, [&] {
                try {
                    result = exec.run();
                } catch (const zarnic::sys::TSysCallErr& error) {
                    std::_Exit(error.error());
                }
            });
            const bool told = result.code == ENOENT || result.code == out_of_memory;
            EXPECT_TRUE(attempt.refused() ? told : result.code == ENOENT) << result.code;
        },
        Refused::children);
}

TEST(RefusedRun, BecomingTheProgramFailsByBadAllocWithoutFork) {
    forEveryRefusal([](Attempt& attempt) {
        const test::Captured child = test::inChild([&] {
            const bool refused =
                attempt.run([] { probe("exit", "3").withMode(TExec::path_mode).run(); });
            std::_Exit(refused ? out_of_memory : 1);
        });
        EXPECT_TRUE(child.exited(attempt.refused() ? out_of_memory : 3)) << child.status;
    });
}

TEST(RefusedRun, FunctionThatRunsOutOfMemoryEndsItsChildWith255) {
    const auto body = [] { return static_cast<int>(std::string(100, 'x').size()) - 97; };
    forEveryRefusal(
        [&](Attempt& attempt) {
            TExec exec(TExec::Preparer(new zarnic::sys::TFnCall(body)));
            TExecResult result{0, 0};
            runRefused(attempt, [&] { result = exec.run(); });
            int status = 0;
            ASSERT_EQ(::waitpid(result.pid, &status, 0), result.pid);
            EXPECT_TRUE(WIFEXITED(status));
            EXPECT_EQ(WEXITSTATUS(status), attempt.refused() ? 255 : 3);
        },
        Refused::children);
}

class RefusedAttachedRun : public testing::Test {
  protected:
    RefusedAttachedRun() { test::writeFile(input, "12345"); }

    static TExecResult run(const Attempt& attempt, TExec exec) {
        TExecResult result{0, 0};
        EXPECT_FALSE(runRefused(attempt, [&] { result = exec.run(); }));
        return result;
    }

    // With each request of the child refused: it comes back by std::bad_alloc and adds nothing
    // to what is `kept` of the output, or the program ran and added what it counted.
    void refuse(const TExec& exec, const std::string& kept) {
        forEveryRefusal(
            [&](Attempt& attempt) {
                test::writeFile(output, "before ");
                const TExecResult result = run(attempt, exec);
                EXPECT_EQ(result.code, attempt.refused() ? out_of_memory : 0);
                EXPECT_EQ(test::readFile(output), attempt.refused() ? kept : kept + "5");
            },
            Refused::children);
    }

    const test::TempDir dir;
    const std::string input = dir / "input-with-a-name-that-is-long-enough";
    const std::string output = dir / "output-with-a-name-that-is-long-enough";
    const TExec count = TExec(TEArgs() << PROBE_PATH << "count");
};

TEST_F(RefusedAttachedRun, InputAndAppendedOutput) {
    refuse(count.fromFile(input).appendToFile(output), "before ");
}

TEST_F(RefusedAttachedRun, AnyDescriptorToAFile) {
    refuse(count.fromFile(input).redirectToFile(1, output, true), "before ");
    refuse(count.fromFile(input).redirectToFile(1, output, false), "");
}

TEST_F(RefusedAttachedRun, TextToAFile) {
    refuse(count.fromText("12345").toFile(output).redirect(2, 1), "");
}

TEST_F(RefusedAttachedRun, CallerNeedsNoMemoryToRunAPipeline) {
    TExecList list = count.fromFile(input) | count.toFile(output);
    const Attempt attempt(1, true, Refused::caller);
    TExecResult result{0, 0};
    EXPECT_FALSE(runRefused(attempt, [&] { result = runList(list); }));
    EXPECT_FALSE(attempt.refused());
    EXPECT_EQ(result.code, 0);
    EXPECT_EQ(test::readFile(output), "1");
}

// How an attempt to capture ended.
struct Capture {
    std::string out = "before";
    int status = -1;
    bool refused = false;
    bool failed = false;  // std::runtime_error
};

Capture capture(Attempt& attempt, const TExecList& list, bool checked) {
    Capture captured;
    captured.refused = runRefused(attempt, [&] {
        try {
            if (checked) {
                zarnic::sys::checkedOutput(captured.out, list);
            } else {
                zarnic::sys::readOutput(captured.out, captured.status, list);
            }
        } catch (const std::runtime_error&) {
            captured.failed = true;
        }
    });
    return captured;
}

// Started or not, at most the pipe's read end stays open and at most the children are there to
// be waited for. What `out` holds: all, or what it held, or what was read until then.
TEST(RefusedCapture, CallerEndsByBadAllocAndLeavesNoMoreThanItSays) {
    forEveryRefusal([](Attempt& attempt) {
        const TExecList list = probe("args", text) | probe("count", "");
        reapAll();  // orphans of earlier tests, where this process is the first of its kind
        const int before = descriptors();
        const Capture captured = capture(attempt, list, false);
        EXPECT_EQ(captured.refused, attempt.refused());
        EXPECT_LE(reapAll(), 2);
        if (captured.refused) {
            EXPECT_TRUE(captured.out == "" || captured.out == "before") << captured.out;
        } else {
            EXPECT_EQ(captured.out, std::to_string(text.size() + 1));
        }
        EXPECT_EQ(captured.status, captured.refused ? -1 : 0);
        EXPECT_LE(descriptors() - before, 1);
    });
}

TEST(RefusedCapture, LongOutputEndsByBadAllocAndKeepsWhatWasRead) {
    bool cut = false;
    forEveryRefusal([&](Attempt& attempt) {
        reapAll();
        const Capture captured = capture(attempt, probe("write", "5000"), true);
        EXPECT_EQ(captured.refused, attempt.refused());
        EXPECT_LE(reapAll(), 1);
        if (captured.out != "before") {
            const std::string whole(5000, 'x');
            EXPECT_EQ(captured.out, whole.substr(0, captured.out.size()));
            EXPECT_TRUE(captured.refused || captured.out.size() == whole.size());
            cut = cut || (!captured.out.empty() && captured.out.size() < whole.size());
        } else {
            EXPECT_TRUE(captured.refused);
        }
    });
    EXPECT_TRUE(cut) << "no text was cut";
}

TEST(RefusedCapture, FailureIsRaisedOrBadAlloc) {
    forEveryRefusal([](Attempt& attempt) {
        reapAll();
        const Capture captured = capture(attempt, probe("exit", "3"), true);
        EXPECT_NE(captured.refused, captured.failed);
        EXPECT_LE(reapAll(), 1);
    });
}

TEST(RefusedCapture, ChildWithoutMemoryIsAFailedChild) {
    forEveryRefusal(
        [](Attempt& attempt) {
            const Capture captured = capture(attempt, probe("args", text), true);
            EXPECT_FALSE(captured.refused);
            EXPECT_EQ(captured.failed, attempt.refused());
            EXPECT_EQ(captured.out, attempt.refused() ? "" : text + "\n");
            EXPECT_EQ(reapAll(), 0);
        },
        Refused::children);
}

TEST(RefusedPipelineRun, ProgramsWithoutMemoryEndAndNobodyHangs) {
    forEveryRefusal(
        [](Attempt& attempt) {
            TExecList list = probe("args", text) | probe("count", "") | probe("count", "");
            TExecResult result{0, 0};
            EXPECT_FALSE(runRefused(attempt, [&] { result = zarnic::sys::runList(list); }));
            EXPECT_EQ(result.code, attempt.refused() ? out_of_memory : 0);
            EXPECT_EQ(reapAll(), 0);
        },
        Refused::children);
}

TEST(RefusedWait, NeedsNoMemory) {
    const TExecResult running = probe("exit", "3").withModeToggled(2).run();
    const Attempt attempt(1, true, Refused::caller);
    int status = 0;
    EXPECT_FALSE(attempt.run([&] { status = zarnic::sys::waitChild(running.pid); }));
    EXPECT_EQ(WEXITSTATUS(status), 3);
}

}  // namespace
