// What the redirections do between fork and exec.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <memory>

#include "tests/unit/sys/runs.h"
#include "zarnic/sys/preparers.h"

namespace zarnic::sys {
namespace {

using test::isolated;
using test::probe;
using test::program;
using test::readFile;
using test::runOnce;
using test::target;

bool isOpen(int descriptor) { return ::fcntl(descriptor, F_GETFD) >= 0; }

// The two preparers that write to a file; the rules are the same for both.
std::unique_ptr<TExec::TPrepare> writer(bool general, const std::string& path, bool append) {
    if (general) {
        return std::make_unique<TRedirectToFile>(STDOUT_FILENO, path, append);
    }
    return std::make_unique<TToFile>(path, append);
}

class PreparersFiles : public test::RunTest, public testing::WithParamInterface<bool> {
  protected:
    TExec::Preparer toFile(bool append = false) const {
        return TExec::Preparer(writer(GetParam(), dir / "f", append).release());
    }

    const test::TempDir dir;
    TExec exec = probe({});
};

INSTANTIATE_TEST_SUITE_P(BothWriters, PreparersFiles, testing::Bool(), [](const auto& tested) {
    return tested.param ? "TRedirectToFile" : "TToFile";
});

TEST_P(PreparersFiles, AnExistingFileIsTruncated) {
    test::writeFile(dir / "f", "old content");
    runOnce(probe({"args", "new"}).with(toFile(false)));
    EXPECT_EQ(readFile(dir / "f"), "new\n");
}

TEST_P(PreparersFiles, AnExistingFileIsAppendedTo) {
    test::writeFile(dir / "f", "old\n");
    runOnce(probe({"args", "new"}).with(toFile(true)));
    EXPECT_EQ(readFile(dir / "f"), "old\nnew\n");
}

TEST_P(PreparersFiles, AFileIsTruncatedEvenByAProgramThatPrintsNothing) {
    test::writeFile(dir / "f", "old content");
    runOnce(probe({"exit", "0"}).with(toFile(false)));
    EXPECT_EQ(readFile(dir / "f"), "");
}

TEST_P(PreparersFiles, ANewFileIsMadeInBothWays) {
    for (const bool append : {false, true}) {
        ::unlink((dir / "f").c_str());
        runOnce(probe({"args", "new"}).with(toFile(append)));
        EXPECT_EQ(readFile(dir / "f"), "new\n");
    }
}

TEST_P(PreparersFiles, ANewFilesModeIs0664LessTheUmaskForEveryUmask) {
    isolated([&] {
        for (const bool append : {false, true}) {
            for (mode_t mask = 0; mask <= 0777; ++mask) {
                ::unlink((dir / "f").c_str());
                ::umask(mask);
                writer(GetParam(), dir / "f", append)->inChild(exec);
                struct stat status = {};
                ASSERT_EQ(::stat((dir / "f").c_str(), &status), 0);
                ASSERT_EQ(status.st_mode & 07777U, 0664U & ~mask);
            }
        }
        ::umask(022);
    });
}

TEST_P(PreparersFiles, AnExistingFileKeepsItsMode) {
    test::writeFile(dir / "f", "");
    ::chmod((dir / "f").c_str(), 0600);
    runOnce(probe({"args", "new"}).with(toFile()));
    struct stat status = {};
    ASSERT_EQ(::stat((dir / "f").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0600U);
}

TEST_P(PreparersFiles, TheStreamIsForWritingAndAppendsOnlyIfAsked) {
    isolated([&] {
        for (const bool append : {false, true}) {
            writer(GetParam(), dir / "f", append)->inChild(exec);
            const int flags = ::fcntl(STDOUT_FILENO, F_GETFL);
            EXPECT_EQ(flags & O_ACCMODE, O_WRONLY);
            EXPECT_EQ((flags & O_APPEND) != 0, append);
        }
    });
}

TEST_P(PreparersFiles, TheProgramHasTheFileOnlyAsThatStream) {
    const auto own = test::descriptors();
    runOnce(probe({"report"}).with(toFile()));
    const std::string report = readFile(dir / "f");
    EXPECT_EQ(test::inherited(report), own);
    EXPECT_EQ(target(report, 1), dir / "f");
    EXPECT_NE(target(report, 2), dir / "f");
}

TEST_P(PreparersFiles, AMissingDirectoryLeavesTheStreamClosed) {
    const auto tellingIfClosed = [&](const std::string& path) {
        return test::inChild([&] {
            TExec shell = program({"sh", "-c", "test -e /proc/$$/fd/1 || echo closed >&2"});
            const TExec::Preparer prepare(writer(GetParam(), path, false).release());
            runOnce(shell.with(prepare));
        });
    };
    EXPECT_EQ(tellingIfClosed(dir / "missing/f").err, "closed\n");
    EXPECT_EQ(tellingIfClosed(dir / "f").err, "");
}

TEST_P(PreparersFiles, AMissingDirectoryIsNoError) {
    for (const bool append : {false, true}) {
        const TExec::Preparer missing(writer(GetParam(), dir / "missing/f", append).release());
        EXPECT_EQ(runOnce(probe({"exit", "5"}).with(missing)).code, 5);
    }
}

TEST_P(PreparersFiles, ADirectoryInTheFilesPlaceLeavesTheStreamClosed) {
    isolated([&] {
        writer(GetParam(), dir.path(), false)->inChild(exec);
        EXPECT_FALSE(isOpen(STDOUT_FILENO));
    });
}

TEST_P(PreparersFiles, ARelativePathIsOneOfTheWorkingDirectory) {
    isolated([&] {
        ASSERT_EQ(::chdir(dir.path().c_str()), 0);
        writer(GetParam(), "relative", false)->inChild(exec);
        EXPECT_EQ(::access((dir / "relative").c_str(), F_OK), 0);
    });
}

// The file is opened as the target's own number then, which is closed before the copy.
TEST_P(PreparersFiles, AStreamThatWasClosedBeforeStaysClosed) {
    isolated([&] {
        ::close(STDOUT_FILENO);
        writer(GetParam(), dir / "f", false)->inChild(exec);
        EXPECT_FALSE(isOpen(STDOUT_FILENO));
        EXPECT_EQ(::access((dir / "f").c_str(), F_OK), 0);
    });
}

class PreparersStreams : public test::RunTest {
  protected:
    // What `probe report` tells when it runs with one preparer, printed to a file.
    std::string reportWith(TExec::TPrepare* prepare) {
        runOnce(probe({"report"}).toFile(dir / "report").with(TExec::Preparer(prepare)));
        return readFile(dir / "report");
    }

    const std::set<int> own = test::descriptors();
    const test::TempDir dir;
    TExec exec = probe({});
};

TEST_F(PreparersStreams, AnyDescriptorCanGoToAFile) {
    const std::string report = reportWith(new TRedirectToFile(50, dir / "f", false));
    std::set<int> expected = own;
    expected.insert(50);
    EXPECT_EQ(test::inherited(report), expected);
    EXPECT_EQ(target(report, 50), dir / "f");
    EXPECT_EQ(target(report, 1), dir / "report");
}

TEST_F(PreparersStreams, InputIsReadFromTheFileAndNothingElseIsOpen) {
    test::writeFile(dir / "in", "text");
    const std::string report = reportWith(new TFromFile(dir / "in"));
    EXPECT_EQ(test::inherited(report), own);
    EXPECT_EQ(target(report, 0), dir / "in");
}

TEST_F(PreparersStreams, InputIsForReadingOnly) {
    test::writeFile(dir / "in", "text");
    isolated([&] {
        TFromFile(dir / "in").inChild(exec);
        EXPECT_EQ(::fcntl(STDIN_FILENO, F_GETFL) & O_ACCMODE, O_RDONLY);
    });
    EXPECT_EQ(readFile(dir / "in"), "text");
}

TEST_F(PreparersStreams, AMissingInputFileLeavesInputClosedAndIsNotMade) {
    isolated([&] {
        TFromFile(dir / "in").inChild(exec);
        EXPECT_FALSE(isOpen(STDIN_FILENO));
        EXPECT_NE(::access((dir / "in").c_str(), F_OK), 0);
    });
    EXPECT_EQ(runOnce(probe({"exit", "5"}).fromFile(dir / "in")).code, 5);
}

TEST_F(PreparersStreams, ACopiedDescriptorLeavesItsSourceOpen) {
    const std::string report = reportWith(new TRedirect(2, 1));
    EXPECT_EQ(test::inherited(report), own);
    EXPECT_EQ(target(report, 1), dir / "report");
    EXPECT_EQ(target(report, 2), dir / "report");
}

TEST_F(PreparersStreams, ACopiedDescriptorSharesItsPositionWithItsSource) {
    runOnce(probe({"both", "out", "err"}).toFile(dir / "f").redirect(2, 1));
    EXPECT_EQ(readFile(dir / "f"), "out\nerr\n");
}

TEST_F(PreparersStreams, TheTargetMayBeANewDescriptor) {
    const std::string report = reportWith(new TRedirect(51, 1));
    EXPECT_EQ(target(report, 51), dir / "report");
}

TEST_F(PreparersStreams, AnInputThatWasClosedBeforeStaysClosed) {
    isolated([&] {
        ::close(STDIN_FILENO);
        TFromFile("/dev/null").inChild(exec);
        EXPECT_FALSE(isOpen(STDIN_FILENO));
    });
}

TEST_F(PreparersStreams, Dup2IsUnchecked) {
    const std::string report = reportWith(new TRedirect(2, 999));
    std::set<int> expected = own;
    expected.erase(2);
    EXPECT_EQ(test::inherited(report), expected);
}

TEST_F(PreparersStreams, ADescriptorCopiedToItselfIsClosed) {
    const std::string report = reportWith(new TRedirect(2, 2));
    EXPECT_EQ(target(report, 2), "");
}

}  // namespace
}  // namespace zarnic::sys
