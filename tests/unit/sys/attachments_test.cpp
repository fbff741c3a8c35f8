// The named attachments of a runner and of a pipeline. What each preparer does in the child is
// tested beside it.

#include <gtest/gtest.h>

#include <cstdio>
#include <type_traits>

#include "tests/unit/sys/hooks.h"
#include "zarnic/sys/exec_list.h"

namespace zarnic::sys {
namespace {

using test::probe;
using test::program;
using test::runOnce;
using test::tellingHooks;
using test::writeFile;

static_assert(!std::is_default_constructible_v<TAttachments<TExec>>, "only a runner is one");

class Attachments : public test::RunTest {
  protected:
    const test::TempDir dir;
    const std::string f = dir / "f";
    // Prints "out" and what it reads, and "err".
    const TExec exec = program({"sh", "-c", "echo out; cat; echo err >&2"});
};

TEST_F(Attachments, AreOneMorePreparerOfACopy) {
    const TExec::Preparer prepare(new TPrepare);
    const TExec attached = exec.withMode(5).with(prepare);
    EXPECT_EQ(attached.mode(), 5U);
    EXPECT_EQ(&attached.args().elements(), &exec.args().elements());
    EXPECT_EQ(attached.preparer().get(), prepare.get());
    EXPECT_EQ(exec.preparer().get(), nullptr);
}

TEST_F(Attachments, EarlierOnesActBeforeLaterOnes) {
    const test::Captured captured = test::inChild([] {
        const TExec::Preparer first = tellingHooks("1.");
        runOnce(probe({"exit", "0"}).with(first).with(tellingHooks("2.")).with(first));
    });
    EXPECT_EQ(captured.out,
              "1.beforeFork 2.beforeFork 1.beforeFork 1.inParent 2.inParent 1.inParent ");
    EXPECT_EQ(captured.err,
              "1.inChild 2.inChild 1.inChild 1.beforeExec 2.beforeExec 1.beforeExec ");
}

TEST_F(Attachments, OfAPipelineAreItsLastPrograms) {
    const TExecList list = probe({"args", "x"}) | exec;
    const auto* const prepare = list.programs().back().preparer().get();
    runList(list.redirect(2, 1).toFile(f));
    EXPECT_EQ(test::readFile(f), "out\nx\n");
    EXPECT_EQ(list.programs().back().preparer().get(), prepare);
    EXPECT_TRUE(TExecList().toFile(f).empty());
}

TEST_F(Attachments, LeadTheStreamsOfAForkedProgramOnly) {
    const std::string in = dir / "in";
    writeFile(in, "input\n");
    const struct {
        TExecList list;
        std::string file, out, err;
    } rows[] = {
        {exec, "old\n", "out\n", "err\n"},
        {exec.toFile(f), "out\n", "", "err\n"},
        {exec.appendToFile(f), "old\nout\n", "", "err\n"},
        {exec.redirectToFile(2, f, false), "err\n", "out\n", ""},
        {exec.redirectToFile(2, f, true), "old\nerr\n", "out\n", ""},
        {exec.redirectToFile(2, f, TWriting::truncate), "err\n", "out\n", ""},
        {exec.redirectToFile(2, f, TWriting::append), "old\nerr\n", "out\n", ""},
        {exec.redirect(2, 1), "old\n", "out\nerr\n", ""},
        {exec.redirect(2, 1).toFile(f), "out\n", "err\n", ""},
        {exec.toFile(f).redirect(2, 1), "out\nerr\n", "", ""},
        {exec.toFile(f).toFile(dir / "g"), "", "", "err\n"},
        {exec.fromFile(in), "old\n", "out\ninput\n", "err\n"},
        {exec.fromText("text\n"), "old\n", "out\ntext\n", "err\n"},
        {exec.fromText("text\n").fromFile(in), "old\n", "out\ninput\n", "err\n"},
        {exec.fromFile(in).fromText("text\n"), "old\n", "out\ntext\n", "err\n"},
    };
    int number = 0;
    for (const auto& row : rows) {
        SCOPED_TRACE("row " + std::to_string(++number));
        for (const std::uint64_t toggled : {std::uint64_t{0}, fork_mode}) {
            writeFile(f, "old\n");
            const test::Captured captured = test::inChild([&] {
                static_cast<void>(!std::freopen("/dev/null", "r", stdin));
                runList(row.list.withModeToggled(toggled));
            });
            EXPECT_EQ(test::readFile(f), toggled == 0 ? row.file : "old\n");
            EXPECT_EQ(captured.out, toggled == 0 ? row.out : "out\n");
            EXPECT_EQ(captured.err, toggled == 0 ? row.err : "err\n");
        }
    }
    EXPECT_EQ(test::readFile(dir / "g"), "out\n");
}

}  // namespace
}  // namespace zarnic::sys
