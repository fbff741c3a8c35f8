// Runs with memory refused in the caller, before and after its forks, and in the children,
// between fork and exec.

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <set>

#include "tests/failures/memory/refusal.h"
#include "tests/support/capture.h"
#include "zarnic/sys/function_call.h"
#include "zarnic/sys/output.h"
#include "zarnic/sys/wait.h"

namespace {

using test::Attempt;
using test::forEveryRefusal;
using test::out_of_memory;
using test::readFile;
using test::Refused;
using zarnic::sys::TEArgs;
using zarnic::sys::TExec;
using zarnic::sys::TExecList;

TExec probe(const char* verb, const std::string& detail) {
    return TExec(TEArgs() << PROBE_PATH << verb << detail);
}

// Waits for every child that is left, and tells how many there were.
int reapAll() {
    int count = 0;
    while (::waitpid(-1, nullptr, 0) > 0) {
        ++count;
    }
    return count;
}

auto descriptors() {
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
}

// The exit code of the last program. A child whose program cannot be started ends with the
// number of the error.
int endOf(const Attempt& attempt, TExecList list) {
    int code = -1;
    EXPECT_FALSE(test::runRefused(attempt, [&] {
        try {
            const zarnic::sys::TExecResult result = runList(list);
            const bool waited = list.programs().back().mode() == TExec::def_mode;
            code = waited ? result.code
                          : zarnic::sys::exitCode(zarnic::sys::waitChild(result.pid));
        } catch (const zarnic::sys::TSysCallErr& error) {
            std::_Exit(error.error());
        }
    }));
    return code;
}

// The caller of a run needs no memory. A child without memory comes back by std::bad_alloc and
// never runs the program.
TEST(RefusedRun, NeedsMemoryInTheChildrenOnly) {
    const test::TempDir dir;
    const std::string input = dir / "input-with-a-name-that-is-long-enough";
    const std::string output = dir / "output-with-a-name-that-is-long-enough";
    test::writeFile(input, "12345");
    const TExec count(TEArgs() << PROBE_PATH << "count");
    const auto body = [] { return static_cast<int>(std::string(100, 'x').size()) - 97; };
    const struct {
        TExecList list;
        int code;
        std::string output;  // the output file in the end, which held "before "
        int refusedCode = out_of_memory;
        std::string refusedOutput = "before ";
    } rows[] = {
        {probe("exit", "3"), 3, "before "},
        {TExec(TEArgs() << "/no/such/program/anywhere/at/all"), ENOENT, "before "},
        {zarnic::sys::functionCall(body), 3, "before ", 255},
        {count.fromFile(input).appendToFile(output), 0, "before 5"},
        {count.fromFile(input).redirectToFile(1, output, true), 0, "before 5"},
        {count.fromFile(input).redirectToFile(1, output, false), 0, "5", out_of_memory, ""},
        {count.fromText("12345").toFile(output).redirect(2, 1), 0, "5", out_of_memory, ""},
        {count.fromFile(input) | count | count.toFile(output), 0, "1", out_of_memory, ""},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE("row " + std::to_string(&row - rows));
        test::writeFile(output, "before ");
        const Attempt none(1, true, Refused::caller);
        EXPECT_EQ(endOf(none, row.list), row.code);
        EXPECT_FALSE(none.refused());
        EXPECT_EQ(readFile(output), row.output);
        forEveryRefusal(
            [&](Attempt& attempt) {
                test::writeFile(output, "before ");
                const int code = endOf(attempt, row.list);
                const bool refused = attempt.refused() && code != ENOENT;
                EXPECT_EQ(code, refused ? row.refusedCode : row.code);
                EXPECT_EQ(readFile(output), refused ? row.refusedOutput : row.output);
                EXPECT_EQ(reapAll(), 0);
            },
            Refused::children);
    }
}

TEST(RefusedRun, BecomingTheProgramFailsByBadAllocWithoutFork) {
    forEveryRefusal([](Attempt& attempt) {
        const test::Captured child = test::inChild([&] {
            const auto become = [] { probe("exit", "3").withMode(TExec::path_mode).run(); };
            std::_Exit(attempt.run(become) ? out_of_memory : 1);
        });
        EXPECT_TRUE(child.exited(attempt.refused() ? out_of_memory : 3)) << child.status;
    });
}

// How an attempt to capture ended. Made in the process that it tells of.
struct Capture {
    Capture(const Attempt& attempt, const TExecList& list) {
        refused = test::runRefused(attempt, [&] {
            try {
                zarnic::sys::checkedOutput(out, list);
            } catch (const std::runtime_error&) {
                failed = true;
            }
        });
    }

    std::string out = "before";
    bool refused;
    bool failed = false;
};

// Started or not, at most the pipe's read end stays open, and at most the children are there to
// be waited for. The output is whole, or as it was, or what was read until then: cut where it
// had to grow.
TEST(RefusedCapture, EndsByBadAllocAndKeepsWhatWasRead) {
    const struct {
        TExecList list;
        std::string whole;
        bool fails;
        std::set<std::size_t> cuts{};
    } rows[] = {
        {probe("args", "one") | probe("count", ""), "4", false},
        {probe("write", "5000"), std::string(5000, 'x'), false, {0, 1024, 2048, 4096}},
        {probe("exit", "3"), "", true},
    };
    for (const auto& row : rows) {
        std::vector<bool> seen(row.whole.size());
        forEveryRefusal([&](Attempt& attempt) {
            reapAll();  // orphans of earlier tests, where this process is the first of its kind
            const auto before = descriptors();
            const Capture captured(attempt, row.list);
            EXPECT_LE(descriptors(), before + 1);
            EXPECT_LE(reapAll(), static_cast<int>(row.list.size()));
            EXPECT_EQ(captured.failed, row.fails && !captured.refused);
            EXPECT_TRUE(captured.failed || captured.refused == attempt.refused());
            if (!captured.refused) {
                EXPECT_EQ(captured.out, row.whole);
            } else if (captured.out != "before" && captured.out != row.whole) {
                ASSERT_TRUE(row.cuts.contains(captured.out.size())) << captured.out.size();
                EXPECT_TRUE(row.whole.starts_with(captured.out));
                seen[captured.out.size()] = true;
            }
        });
        EXPECT_EQ(std::count(seen.begin(), seen.end(), true), std::ssize(row.cuts));
        const auto ofChildren = [&](Attempt& attempt) {
            const Capture captured(attempt, row.list);
            EXPECT_FALSE(captured.refused);
            EXPECT_EQ(captured.failed, row.fails || attempt.refused());
            EXPECT_EQ(captured.out, attempt.refused() ? "" : row.whole);
            reapAll();
        };
        forEveryRefusal(ofChildren, Refused::children);
    }
}

}  // namespace
