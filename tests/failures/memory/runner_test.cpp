// Everything about a run that happens before it: runners, attachments, preparers, pipelines.

#include <functional>
#include <string>
#include <vector>

#include "tests/failures/memory/refusal.h"
#include "zarnic/sys/exec.h"
#include "zarnic/sys/exec_list.h"
#include "zarnic/sys/function_call.h"
#include "zarnic/sys/preparers.h"

namespace {

using test::Attempt;
using test::forEveryRefusal;
using zarnic::SharedHandle;
using zarnic::sys::TEArgs;
using zarnic::sys::TExec;
using zarnic::sys::TExecList;
using zarnic::sys::TPipe;

const std::string path = "/a/path/that/is/too/long/to/be/kept/inside/a/string";

// Makes the runner that an attachment returns, and nothing of the old one may have changed.
template <class Runner>
void expectLeavesTheRunner(const Runner& runner,
                           const std::function<Runner(const Runner&)>& attach,
                           const std::function<int()>& uses) {
    forEveryRefusal([&](Attempt& attempt) {
        const int before = uses();
        const bool refused = attempt.run([&] { static_cast<void>(attach(runner)); });
        EXPECT_EQ(refused, attempt.refused());
        EXPECT_EQ(uses(), before);
    });
}

template <class Runner>
std::vector<std::function<Runner(const Runner&)>> attachments() {
    return {
        [](const Runner& runner) { return runner.toFile(path); },
        [](const Runner& runner) { return runner.appendToFile(path); },
        [](const Runner& runner) { return runner.redirectToFile(2, path, true); },
        [](const Runner& runner) { return runner.redirect(2, 1); },
        [](const Runner& runner) { return runner.fromFile(path); },
        [](const Runner& runner) { return runner.fromText(path); },
        [](const Runner& runner) { return runner.toFile(path).fromText(path).redirect(2, 1); },
    };
}

TEST(RefusedRunner, IsMadeWholeOrNotAtAll) {
    forEveryRefusal([](Attempt& attempt) {
        const bool refused = attempt.run([] {
            const TExec exec(TEArgs() << path, TExec::fork_mode);
            EXPECT_EQ(exec.args().at(0), path);
        });
        EXPECT_EQ(refused, attempt.refused());
    });
}

TEST(RefusedRunner, AttachmentsLeaveARunnerWithoutAPreparer) {
    const TExec exec(TEArgs() << path);
    for (const auto& attach : attachments<TExec>()) {
        expectLeavesTheRunner<TExec>(exec, attach, [&] { return exec.preparer().useCount(); });
    }
    EXPECT_EQ(exec.preparer().get(), nullptr);
}

TEST(RefusedRunner, AttachmentsLeaveARunnerWithAPreparer) {
    const TExec exec = TExec(TEArgs() << path).fromFile(path);
    for (const auto& attach : attachments<TExec>()) {
        expectLeavesTheRunner<TExec>(exec, attach, [&] { return exec.preparer().useCount(); });
    }
}

TEST(RefusedRunner, AttachmentsLeaveAPipeline) {
    const TExec exec(TEArgs() << path);
    const TExecList list = exec | exec;
    for (const auto& attach : attachments<TExecList>()) {
        expectLeavesTheRunner<TExecList>(
            list, attach, [&] { return list.programs().back().preparer().useCount(); });
    }
}

TEST(RefusedRunner, CopiesAndModeChangesAskForNothing) {
    const TExec exec = TExec(TEArgs() << path).fromFile(path);
    const Attempt attempt(1, true, test::Refused::caller);
    EXPECT_FALSE(attempt.run([&] {
        EXPECT_EQ(exec.withMode(3).mode(), 3U);
        EXPECT_EQ(exec.withModeToggled(2).mode(), 5U);
    }));
    EXPECT_FALSE(attempt.refused());
}

TEST(RefusedRunner, FunctionIsWrappedWholeOrNotAtAll) {
    const auto body = [] { return 0; };
    forEveryRefusal([&](Attempt& attempt) {
        const bool refused = attempt.run([&] {
            const TExec exec(TExec::Preparer(new zarnic::sys::TFnCall(body)));
            EXPECT_NE(exec.preparer().get(), nullptr);
        });
        EXPECT_EQ(refused, attempt.refused());
    });
}

TEST(RefusedPipeline, JoiningLeavesBothSides) {
    forEveryRefusal([](Attempt& attempt) {
        const TExec left = TExec(TEArgs() << path).fromFile(path);
        const TExec right = TExec(TEArgs() << path).toFile(path);
        const bool refused =
            attempt.run([&] { EXPECT_EQ((left | right | right).programs().size(), 3U); });
        EXPECT_EQ(refused, attempt.refused());
        EXPECT_EQ(left.preparer().useCount(), 1);
        EXPECT_EQ(right.preparer().useCount(), 1);
    });
}

TEST(RefusedPipeline, EmptyLeftSideLikewise) {
    forEveryRefusal([](Attempt& attempt) {
        const TExec right(TEArgs() << path);
        const bool refused =
            attempt.run([&] { EXPECT_EQ((TExecList() | right).programs().size(), 1U); });
        EXPECT_EQ(refused, attempt.refused());
    });
}

TEST(RefusedPipeline, CopyThatIsRefusedLeavesTheOriginal) {
    forEveryRefusal([](Attempt& attempt) {
        const TExec exec(TEArgs() << path);
        const TExecList list = exec | exec | exec;
        const bool refused = attempt.run([&] {
            const TExecList copy(list);
            EXPECT_EQ(copy.programs().size(), 3U);
        });
        EXPECT_EQ(refused, attempt.refused());
        EXPECT_EQ(list.programs().size(), 3U);
    });
}

}  // namespace
