#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>

#include "manager/commands.h"
#include "tests/unit/manager/host.h"

namespace {

namespace fs = std::filesystem;
using test::handle;
using test::Outcome;

class Installation : public testing::Test {
  protected:
    Outcome check(const std::string& kavDir) {
        return handle(host, checkInstall, {"--kav-dir=" + kavDir});
    }

    void expectInstalled(const std::string& kavDir) {
        const Outcome outcome = check(kavDir);
        EXPECT_EQ(outcome.status, test::answered_true) << kavDir;
        EXPECT_EQ(outcome.out, "Kaspersky Anti-Virus server is installed\n");
        EXPECT_EQ(outcome.err, "");
    }

    void expectNotInstalled(const std::string& kavDir) {
        const Outcome outcome = check(kavDir);
        EXPECT_EQ(outcome.status, test::threw) << kavDir;
        EXPECT_EQ(outcome.out, "TUError: Kaspersky Anti-Virus server is not installed\n");
        EXPECT_EQ(outcome.err, "");
    }

    Outcome remove(const std::string& file) {
        return handle(host, deleteFile, {"--file=" + file});
    }

    void expectSilentlyHandled(const std::string& file) {
        const Outcome outcome = remove(file);
        EXPECT_EQ(outcome.status, test::answered_true) << file;
        EXPECT_EQ(outcome.out + outcome.err, "");
    }

    test::Host host;
};

TEST_F(Installation, TheServersProgramMeansInstalled) { expectInstalled(host.kav()); }

TEST_F(Installation, WithoutTheServersProgramItIsNotInstalled) {
    host.remove("aveserver");
    expectNotInstalled(host.kav());
    expectNotInstalled(host / "none");
}

TEST_F(Installation, ADirectoryInTheProgramsPlaceMeansInstalled) {
    host.remove("aveserver");
    fs::create_directory(host.kav() + "/bin/aveserver");
    expectInstalled(host.kav());
}

TEST_F(Installation, AProgramThatNobodyMayRunMeansInstalled) {
    fs::permissions(host.kav() + "/bin/aveserver", fs::perms::none);
    expectInstalled(host.kav());
}

TEST_F(Installation, ALinkCountsAsWhatItLeadsTo) {
    host.remove("aveserver");
    fs::create_symlink(host / "none", host.kav() + "/bin/aveserver");
    expectNotInstalled(host.kav());
    host.file("none");
    expectInstalled(host.kav());
}

TEST_F(Installation, AFileOnTheWayMeansNotInstalled) {
    expectNotInstalled(host.file("kavfile"));
    expectNotInstalled(std::string(5000, 'x'));
}

TEST_F(Installation, TheDirectoryIsTakenAsItIs) {
    expectInstalled(host.kav() + "/");
    expectInstalled(host.kav() + "/bin/..");
    expectNotInstalled(host.kav() + " ");
    // Nothing is put between the two, and nothing is looked up beside the place itself.
    expectNotInstalled(host.kav() + "/b");
    expectNotInstalled(host.kav() + "/bin");
}

TEST_F(Installation, TheLineIsWrittenAtOnce) {
    const Outcome outcome = test::settled([&] {
        checkInstall(test::parserOf({"--kav-dir=" + host.kav()}));
        std::_Exit(0);
    });
    EXPECT_EQ(outcome.out, "Kaspersky Anti-Virus server is installed\n");
}

TEST_F(Installation, TheCheckNeedsADirectory) {
    const Outcome missing = handle(host, checkInstall, {});
    EXPECT_EQ(missing.out, "TPError: Requires long option '--kav-dir'\n");
    for (const char* const form : {"--kav-dir", "--kav-dir="}) {
        const Outcome empty = handle(host, checkInstall, {form});
        EXPECT_EQ(empty.out, "TPError: Incorrect long option '--kav-dir'\n");
    }
}

TEST_F(Installation, TheCheckRefusesUnknownOptionsBeforeItPrints) {
    const Outcome outcome = handle(host, checkInstall, {"--kav-dir=" + host.kav(), "--file=x"});
    EXPECT_EQ(outcome.status, test::threw);
    EXPECT_EQ(outcome.out, "TPError: Unknown option '--file'\n");
}

TEST_F(Installation, AFileIsRemoved) {
    const std::string file = host.file("a b", "text");
    expectSilentlyHandled(file);
    EXPECT_FALSE(fs::exists(file));
}

TEST_F(Installation, ALinkIsRemovedAndNotWhatItLeadsTo) {
    const std::string file = host.file("kept", "text");
    fs::create_symlink(file, host / "link");
    expectSilentlyHandled(host / "link");
    EXPECT_FALSE(fs::is_symlink(host / "link"));
    EXPECT_EQ(test::readFile(file), "text");
}

TEST_F(Installation, ALinkThatLeadsNowhereIsRemoved) {
    fs::create_symlink(host / "none", host / "link");
    expectSilentlyHandled(host / "link");
    EXPECT_FALSE(fs::is_symlink(host / "link"));
}

TEST_F(Installation, WhatCannotBeRemovedIsNotReported) {
    fs::create_directory(host / "empty");
    expectSilentlyHandled(host / "none");
    expectSilentlyHandled(host / "empty");
    expectSilentlyHandled(host.file("file") + "/below");
    EXPECT_TRUE(fs::is_directory(host / "empty"));
    EXPECT_TRUE(fs::exists(host / "file"));
}

TEST_F(Installation, RemovalNeedsAFile) {
    EXPECT_EQ(handle(host, deleteFile, {}).out, "TPError: Requires long option '--file'\n");
    for (const char* const form : {"--file", "--file="}) {
        EXPECT_EQ(handle(host, deleteFile, {form}).out,
                  "TPError: Incorrect long option '--file'\n");
    }
}

TEST_F(Installation, RemovalRefusesUnknownOptionsBeforeItRemoves) {
    const std::string file = host.file("kept");
    const Outcome outcome = handle(host, deleteFile, {"--file=" + file, "-f"});
    EXPECT_EQ(outcome.status, test::threw);
    EXPECT_EQ(outcome.out, "TPError: Unknown option '-f'\n");
    EXPECT_TRUE(fs::exists(file));
}

TEST_F(Installation, NeitherRunsAProgram) {
    check(host.kav());
    remove(host.file("gone"));
    EXPECT_EQ(host.calls(), test::Words());
}

TEST_F(Installation, ThePanelConfigurationChangesNeither) {
    for (const char* const content : {"", "PRODUCT_ROOT_D /nowhere\n", "bad=line\n=\n"}) {
        test::writeFile("/etc/zrc/zrc.conf", content);
        expectInstalled(host.kav());
        const std::string file = host.file("gone");
        expectSilentlyHandled(file);
        EXPECT_FALSE(fs::exists(file));
    }
    fs::remove("/etc/zrc/zrc.conf");
}

}  // namespace
