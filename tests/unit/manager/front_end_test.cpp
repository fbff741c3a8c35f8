// The commands are this file's own: all but one decline, and that one throws what it is told
// to.

#include "manager/front_end.h"

#include <stdexcept>
#include <type_traits>

#include "manager/commands.h"
#include "tests/support/capture.h"
#include "zarnic/error/system_error.h"

using zarnic::opt::TOParsing;

namespace {

std::string called;
void (*thrower)() = nullptr;

bool decline(const std::string& name) {
    called += name + ' ';
    return false;
}

}  // namespace

bool deleteFile(TOParsing /*parser*/) { return decline("delete"); }
bool startService(TOParsing /*parser*/) { return decline("start"); }
bool serviceStarted(TOParsing /*parser*/) { return decline("started"); }
bool killService(TOParsing /*parser*/) { return decline("kill"); }
bool restartService(TOParsing /*parser*/) { return decline("restart"); }
bool configFileContent(TOParsing /*parser*/) { return decline("content"); }
bool saveToConfigFile(TOParsing /*parser*/) { return decline("save"); }

bool checkInstall(TOParsing /*parser*/) {
    if (thrower == nullptr) {
        return decline("check");
    }
    thrower();
    return true;
}

namespace {

// The user's error is a plain class of one text, which no handler for other errors catches.
static_assert(!std::is_polymorphic_v<TUError>);
static_assert(!std::is_base_of_v<std::exception, TUError>);
static_assert(sizeof(TUError) == sizeof(std::string));
static_assert(std::is_nothrow_copy_constructible_v<TUError>);
static_assert(std::is_same_v<CommandHandler, bool (*)(TOParsing)>);

void expectAnswer(std::vector<const char*> arguments, int status, const std::string& out,
                  const std::string& commands) {
    arguments.insert(arguments.begin(), "avmanager");
    const test::Captured child = test::inChild([&arguments] {
        const int result = runCommandLine(static_cast<int>(arguments.size()), arguments.data());
        std::cerr << called;
        std::exit(result);
    });
    EXPECT_TRUE(child.exited(status)) << child.status;
    EXPECT_EQ(child.out, out);
    EXPECT_EQ(child.err, commands);
}

// The first that does not decline would refuse the others: this order decides which one it is.
TEST(FrontEnd, ACommandThatDeclinesLetsTheNextOneRun) {
    expectAnswer({"--save-to-config-file", "--config-file-content", "--restart-service",
                  "--kill-service", "--service-started", "--start-service", "--check-install",
                  "--delete-file"},
                 0, "", "delete check start started kill restart content save ");
    expectAnswer({"--delete-file", "--help", "--bogus"}, 0, "", "delete ");
    expectAnswer({"--delete-file", "-h", "--bogus"}, 0, "", "delete ");
    // After all of them, the final check.
    expectAnswer({"--delete-file"}, 0, "", "delete ");
    expectAnswer({"--delete-file", "--bogus"}, 1, "Unknown option '--bogus'\n", "delete ");
}

TEST(FrontEnd, AnErrorIsPrintedWithItsFullLengthAndAnythingElseIsError) {
    const std::string text("a\0b", 3);
    const struct {
        void (*thrown)();
        std::string line;
    } rows[] = {
        {[] { throw zarnic::TError(std::string("a\0b", 3)); }, text},
        {[] { throw TUError(std::string("a\0b", 3)); }, text},
        {[] { throw zarnic::TError(""); }, ""},
        {[] { throw 1; }, "Error"},
        {[] { throw std::bad_alloc(); }, "Error"},
        {[] { throw std::runtime_error("said"); }, "Error"},
        {[] { throw zarnic::SystemError("said", EPERM); }, "Error"},
    };
    for (const auto& [thrown, line] : rows) {
        thrower = thrown;
        expectAnswer({"--check-install"}, 1, line + "\n", "");
    }
}

}  // namespace
