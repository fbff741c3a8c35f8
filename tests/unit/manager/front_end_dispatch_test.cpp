// How the front end goes on after a command that declines, and what it answers to whatever a
// command throws. The commands are this file's own.

#include <new>
#include <stdexcept>

#include "manager/commands.h"
#include "manager/front_end.h"
#include "tests/support/capture.h"
#include "zarnic/error/system_error.h"

using zarnic::opt::TOParsing;

namespace {

std::string called;
void (*thrower)() = nullptr;

}  // namespace

bool deleteFile(TOParsing /*parser*/) {
    called += "declined ";
    return false;
}

bool checkInstall(TOParsing /*parser*/) {
    thrower();
    return true;
}

bool startService(TOParsing /*parser*/) { return false; }
bool serviceStarted(TOParsing /*parser*/) { return false; }
bool killService(TOParsing /*parser*/) { return false; }
bool restartService(TOParsing /*parser*/) { return false; }

bool configFileContent(TOParsing /*parser*/) {
    called += "content ";
    return true;
}

bool saveToConfigFile(TOParsing /*parser*/) {
    called += "save ";
    return true;
}

namespace {

test::Captured answer(std::vector<const char*> arguments) {
    arguments.insert(arguments.begin(), "avmanager");
    return test::inChild([&arguments] {
        const int status = runCommandLine(static_cast<int>(arguments.size()), arguments.data());
        std::cerr << called;
        std::exit(status);
    });
}

void expectAnswer(const std::vector<const char*>& arguments, int status, const std::string& out,
                  const std::string& commands) {
    const test::Captured child = answer(arguments);
    EXPECT_TRUE(child.exited(status)) << child.status;
    EXPECT_EQ(child.out, out);
    EXPECT_EQ(child.err, commands);
}

TEST(FrontEndDispatch, ACommandThatDeclinesLetsTheNextOneRun) {
    expectAnswer({"--save-to-config-file", "--config-file-content", "--delete-file"}, 0, "",
                 "declined content ");
}

TEST(FrontEndDispatch, AfterEveryCommandDeclinedTheFinalCheckRuns) {
    expectAnswer({"--delete-file"}, 0, "", "declined ");
    expectAnswer({"--delete-file", "--bogus"}, 1, "Unknown option '--bogus'\n", "declined ");
}

TEST(FrontEndDispatch, HelpIsReachedAfterACommandThatDeclines) {
    expectAnswer({"--delete-file", "--help", "--bogus"}, 0, "", "declined ");
    expectAnswer({"--delete-file", "-h", "--bogus"}, 0, "", "declined ");
}

// A command that throws, and the line that the program ends with.
void expectLine(void (*thrown)(), const std::string& line) {
    thrower = thrown;
    expectAnswer({"--check-install"}, 1, line + "\n", "");
}

TEST(FrontEndDispatch, AnErrorIsPrintedWithItsFullLength) {
    expectLine([] { throw zarnic::TError(std::string("a\0b", 3)); }, std::string("a\0b", 3));
    expectLine([] { throw TUError(std::string("a\0b", 3)); }, std::string("a\0b", 3));
    expectLine([] { throw zarnic::TError(""); }, "");
}

TEST(FrontEndDispatch, AnythingElseIsError) {
    expectLine([] { throw 1; }, "Error");
    expectLine([] { throw std::bad_alloc(); }, "Error");
    expectLine([] { throw std::runtime_error("said"); }, "Error");
    expectLine([] { throw zarnic::SystemError("said", EPERM); }, "Error");
    expectLine([] { zarnic::throw_system_error("said", EINTR); }, "Error");
}

}  // namespace
