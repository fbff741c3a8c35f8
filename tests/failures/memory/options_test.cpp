#include "zarnic/opt/options.h"

#include <string>

#include "tests/failures/memory/refusal.h"

namespace {

using test::Attempt;
using test::forEveryRefusal;
using zarnic::opt::TOpts;

const char* const command_line[] = {"avmanager",
                                    "--kav-dir=/opt/a-directory-with-a-long-name",
                                    "-hx",
                                    "--a-long-option-without-any-value",
                                    "a plain argument that is long as well",
                                    "--kav-dir=/another/directory/with-a-long-name",
                                    nullptr};

TEST(RefusedOptions, CommandLineIsSplitWholeOrNotAtAll) {
    forEveryRefusal([](Attempt& attempt) {
        const bool refused = attempt.run([] {
            const TOpts options(command_line, 6);
            EXPECT_EQ(options.arguments().size(), 5U);
            EXPECT_EQ(options.longOptions().size(), 2U);
        });
        EXPECT_EQ(refused, attempt.refused());
    });
}

TEST(RefusedOptions, CommandLineWithoutACountLikewise) {
    forEveryRefusal([](Attempt& attempt) {
        const bool refused = attempt.run([] {
            const TOpts options(command_line);
            EXPECT_EQ(options.shortOptions().size(), 2U);
        });
        EXPECT_EQ(refused, attempt.refused());
    });
}

TEST(RefusedOptions, EmptyCommandLineLikewise) {
    forEveryRefusal([](Attempt& attempt) {
        const bool refused =
            attempt.run([] { EXPECT_EQ(TOpts(nullptr, 0).programName(), ""); });
        EXPECT_EQ(refused, attempt.refused());
    });
}

TEST(RefusedOptions, IndexErrorIsRaisedOrBadAllocAndTheCommandLineStays) {
    forEveryRefusal([](Attempt& attempt) {
        const TOpts options(command_line);
        bool raised = false;
        const bool refused = attempt.run([&] {
            try {
                options.argument(5);
            } catch (const TOpts::TOutOfRange& error) {
                raised = error.index() == 5 && error.message() == "Wrong index (index = 5)";
            }
        });
        EXPECT_NE(raised, refused);
        EXPECT_EQ(options.argument(1), "-hx");
    });
}

// Whatever is only asked about a command line needs no memory.
TEST(RefusedOptions, QuestionsAskForNothing) {
    const TOpts options(command_line);
    const std::string name = "kav-dir";
    const Attempt attempt(1, true, test::Refused::caller);
    EXPECT_FALSE(attempt.run([&] {
        const TOpts copy(options);
        EXPECT_NE(copy.findLong(name), nullptr);
        EXPECT_NE(copy.findShort('h'), nullptr);
        EXPECT_EQ(copy.argument(0), command_line[1]);
    }));
    EXPECT_FALSE(attempt.refused());
}

}  // namespace
