#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <iostream>

#include "manager/commands.h"
#include "tests/unit/manager/host.h"
#include "tests/unit/sys/runs.h"
#include "zarnic/error/error.h"

namespace {

namespace fs = std::filesystem;
using test::handle;
using test::Outcome;
using test::Words;

class ConfigurationFile : public testing::Test {
  protected:
    Outcome print(const std::string& file) {
        return handle(host, configFileContent, {"--file=" + file});
    }

    Outcome save(const std::string& file, const std::string& target) {
        return handle(host, saveToConfigFile, {"--file=" + file, "--config-file=" + target});
    }

    void expectPrinted(const std::string& content) {
        const Outcome outcome = print(host.file("conf", content));
        EXPECT_EQ(outcome.status, test::answered_true);
        EXPECT_EQ(outcome.out, content);
        EXPECT_EQ(outcome.err, "");
    }

    test::Host host;
};

// Runs a handler as the front end would, where a program that cannot be started brings the
// child back: it says so and ends.
Outcome withReturningChildren(const test::Host& host, CommandHandler handler,
                              const Words& arguments) {
    return test::settled([&] {
        host.enter();
        try {
            std::exit(handler(test::parserOf(arguments)) ? test::answered_true : 1);
        } catch (const zarnic::sys::TSysCallErr& error) {
            std::cout << error.message() << std::endl;
            std::exit(1);
        }
    });
}

TEST_F(ConfigurationFile, TheContentIsPrintedAsItIs) {
    expectPrinted("one\ntwo\n");
    expectPrinted("no line feed");
    expectPrinted("");
    expectPrinted(std::string("\0\xff\r\n\0", 5));
    expectPrinted(std::string(200000, 'x'));
}

TEST_F(ConfigurationFile, ItIsPrintedByCatThroughThePath) {
    const std::string file = host.file("a b", "text");
    print(file);
    EXPECT_EQ(host.calls(), Words({"cat " + (host / "a%20b")}));
    EXPECT_EQ(test::reported(host.report("cat"), "argv").front(), "cat");
}

TEST_F(ConfigurationFile, AFileThatIsNotThereRunsNothing) {
    fs::create_symlink(host / "none", host / "link");
    for (const std::string& file :
         {host / "none", host / "link", host.file("file") + "/below", std::string(5000, 'x')}) {
        const Outcome outcome = print(file);
        EXPECT_EQ(outcome.status, test::answered_true) << file;
        EXPECT_EQ(outcome.out + outcome.err, "");
    }
    EXPECT_EQ(host.calls(), Words());
}

TEST_F(ConfigurationFile, WhateverIsThereIsGivenToCat) {
    const Outcome outcome = print(host.kav());
    EXPECT_EQ(outcome.status, test::answered_true);
    EXPECT_EQ(outcome.out, "");
    EXPECT_NE(outcome.err.find("Is a directory"), std::string::npos);
}

TEST_F(ConfigurationFile, HowCatEndsIsNotExamined) {
    for (const char* const end : {"exit 1", "exit 255", "die 9", "die 15"}) {
        host.act("cat", std::string("both half broken; ") + end);
        const Outcome outcome = print(host.file("conf"));
        EXPECT_EQ(outcome.status, test::answered_true) << end;
        EXPECT_EQ(outcome.out, "half\n");
        EXPECT_EQ(outcome.err, "broken\n");
    }
}

TEST_F(ConfigurationFile, ANameThatLooksLikeAnOptionIsPassedBare) {
    const Outcome outcome = test::settled([&] {
        fs::current_path(host / "");
        host.file("-n", "text");
        host.act("cat", "exit 0");
        host.enter();
        configFileContent(test::parserOf({"--file=-n"}));
    });
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(host.calls(), Words({"cat -n"}));
}

TEST_F(ConfigurationFile, CatIsWaitedFor) {
    host.script("cat", "/bin/sleep 0.1; echo late\n");
    const Outcome outcome = print(host.file("conf"));
    EXPECT_EQ(outcome.out, "late\n");
    EXPECT_EQ(outcome.orphans, std::vector<int>());
}

TEST_F(ConfigurationFile, TheToolsHaveTheCallersDescriptorsAndNoOther) {
    host.act("cat", "report");
    const Outcome outcome = test::settled([&] {
        ::close(0);
        ASSERT_EQ(::open("/dev/zero", O_RDONLY), 0);
        ::closefrom(3);
        host.enter();
        configFileContent(test::parserOf({"--file=" + host.file("conf")}));
    });
    EXPECT_EQ(test::inherited(outcome.out), std::set<int>({0, 1, 2}));
    EXPECT_EQ(test::target(outcome.out, 0), "/dev/zero");
}

TEST_F(ConfigurationFile, WithoutCatTheChildSaysWhyAndTheCommandSucceeds) {
    host.remove("cat");
    const Outcome outcome =
        withReturningChildren(host, configFileContent, {"--file=" + host.file("conf")});
    EXPECT_EQ(outcome.status, test::answered_true);
    EXPECT_EQ(outcome.out, "No such file or directory\n");
}

TEST_F(ConfigurationFile, PrintingNeedsAFileAndNothingElse) {
    EXPECT_EQ(handle(host, configFileContent, {}).out,
              "TPError: Requires long option '--file'\n");
    EXPECT_EQ(handle(host, configFileContent, {"--file="}).out,
              "TPError: Incorrect long option '--file'\n");
    const Outcome outcome = handle(host, configFileContent,
                                   {"--file=" + host.file("conf", "text"), "--config-file=x"});
    EXPECT_EQ(outcome.out, "TPError: Unknown option '--config-file'\n");
    EXPECT_EQ(host.calls(), Words());
}

TEST_F(ConfigurationFile, SavingRunsCpAndThenChownOfRootWithoutAGroup) {
    host.act("cp", "exit 0");
    host.act("chown", "exit 0");
    const Outcome outcome = save("/a b", "/c d");
    EXPECT_EQ(outcome.status, test::answered_true);
    EXPECT_EQ(outcome.out + outcome.err, "");
    EXPECT_EQ(outcome.orphans, std::vector<int>());
    EXPECT_EQ(host.calls(), Words({"cp /a%20b /c%20d", "chown root /c%20d"}));
}

TEST_F(ConfigurationFile, SavingCopiesTheContent) {
    host.act("chown", "exit 0");
    const std::string target = host.file("conf", "old content\n");
    save(host.file("new", "new\n"), target);
    EXPECT_EQ(test::readFile(target), "new\n");
}

TEST_F(ConfigurationFile, ChownRunsHoweverCpEnded) {
    host.act("chown", "exit 0");
    for (const char* const end : {"exit 1", "exit 255", "die 9"}) {
        host.act("cp", end);
        EXPECT_EQ(save("/a", "/b").status, test::answered_true) << end;
    }
    EXPECT_EQ(host.calls("chown"), 3);
}

TEST_F(ConfigurationFile, HowChownEndsIsNotExamined) {
    host.act("cp", "exit 0");
    for (const char* const end : {"exit 1", "exit 255", "die 9"}) {
        host.act("chown", end);
        const Outcome outcome = save("/a", "/b");
        EXPECT_EQ(outcome.status, test::answered_true) << end;
        EXPECT_EQ(outcome.out + outcome.err, "");
    }
}

TEST_F(ConfigurationFile, ASourceThatDoesNotExistIsCpsToReport) {
    host.act("chown", "exit 0");
    const std::string target = host.file("conf", "old\n");
    const Outcome outcome = save(host / "none", target);
    EXPECT_EQ(outcome.status, test::answered_true);
    EXPECT_EQ(outcome.out, "");
    EXPECT_NE(outcome.err.find("No such file or directory"), std::string::npos);
    EXPECT_EQ(test::readFile(target), "old\n");
    EXPECT_EQ(host.calls().back(), "chown root " + target);
}

// The child that could not become cp is a copy of the program: it must not go on to chown.
TEST_F(ConfigurationFile, WithoutTheToolsEachChildSaysWhyAndTheCommandSucceeds) {
    host.remove("cp");
    host.remove("chown");
    const Outcome outcome =
        withReturningChildren(host, saveToConfigFile, {"--file=a", "--config-file=b"});
    EXPECT_EQ(outcome.status, test::answered_true);
    EXPECT_EQ(outcome.out, "No such file or directory\nNo such file or directory\n");
    EXPECT_EQ(outcome.orphans, std::vector<int>());
}

TEST_F(ConfigurationFile, SavingReadsItsOptionsInOrder) {
    EXPECT_EQ(handle(host, saveToConfigFile, {"--bogus"}).out,
              "TPError: Requires long option '--file'\n");
    EXPECT_EQ(handle(host, saveToConfigFile, {"--bogus", "--config-file=b"}).out,
              "TPError: Requires long option '--file'\n");
    EXPECT_EQ(handle(host, saveToConfigFile, {"--bogus", "--file=a"}).out,
              "TPError: Requires long option '--config-file'\n");
    EXPECT_EQ(handle(host, saveToConfigFile, {"--config-file", "--file"}).out,
              "TPError: Incorrect long option '--file'\n");
    EXPECT_EQ(handle(host, saveToConfigFile, {"--config-file", "--file=a"}).out,
              "TPError: Incorrect long option '--config-file'\n");
    EXPECT_EQ(handle(host, saveToConfigFile, {"--bogus", "--config-file=b", "--file=a"}).out,
              "TPError: Unknown option '--bogus'\n");
    EXPECT_EQ(host.calls(), Words());
}

}  // namespace
