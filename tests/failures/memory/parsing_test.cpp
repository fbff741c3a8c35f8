#include "zarnic/opt/parsing.h"

#include <functional>
#include <stdexcept>
#include <string>

#include "tests/failures/memory/refusal.h"

namespace {

using test::Attempt;
using test::forEveryRefusal;
using zarnic::opt::no_arg;
using zarnic::opt::req_arg;
using zarnic::opt::TOParsing;

const char* const command_line[] = {"avmanager", "--configuration-file=/etc/a-long-file-name",
                                    "-x", "--an-option-without-a-value", nullptr};
const std::string file = "configuration-file";
const std::string bare = "an-option-without-a-value";
const std::string missing = "an-option-that-nobody-gave";

TOParsing parse() { return {command_line, 4}; }

// Runs the operation, and tells the message of the error that it raised. The error's own memory
// may be refused without a trace: the C++ library keeps some for that.
template <class Operation>
std::string raised(const Operation& operation) {
    try {
        operation();
    } catch (const TOParsing::TPError& error) {
        return error.message();
    }
    return "";
}

// The final check reports the same whatever was refused before it.
void expectUnclaimed(TOParsing& parser, const std::string& message) {
    EXPECT_EQ(raised([&] { parser.check(); }), message);
}

TEST(RefusedParsing, ParserIsMadeWholeOrNotAtAll) {
    forEveryRefusal([](Attempt& attempt) {
        const bool refused = attempt.run([] {
            const TOParsing parser(command_line, 4);
            EXPECT_EQ(parser.options().arguments().size(), 3U);
        });
        EXPECT_EQ(refused, attempt.refused());
    });
}

TEST(RefusedParsing, QueryThatIsRefusedClaimsNothingAndCanBeAskedAgain) {
    forEveryRefusal([](Attempt& attempt) {
        TOParsing parser = parse();
        std::string value;
        const auto ask = [&] { parser.lopt(file, req_arg) >> value; };
        if (attempt.run(ask)) {
            EXPECT_EQ(value, "");
            ask();
        }
        EXPECT_EQ(value, "/etc/a-long-file-name");
        static_cast<void>(parser.lopt(bare, no_arg));
        expectUnclaimed(parser, "Unknown option '-x'");
    });
}

TEST(RefusedParsing, OptionalQueriesThatAreRefusedClaimNothingAndCanBeAskedAgain) {
    forEveryRefusal([](Attempt& attempt) {
        TOParsing parser = parse();
        const auto askForShort = [&] { static_cast<void>(parser.optionalShort('x')); };
        if (attempt.run(askForShort)) {
            expectUnclaimed(parser, "Unknown option '-x'");
            askForShort();
        }
        const auto askForLong = [&] { static_cast<void>(parser.optionalLong(bare, no_arg)); };
        if (attempt.run(askForLong)) {
            expectUnclaimed(parser, "Unknown option '--" + bare + "'");
            askForLong();
        }
        expectUnclaimed(parser, "Unknown option '--" + file + "'");
    });
}

TEST(RefusedParsing, MissingOptionIsRaisedOrBadAllocAndRaisedNextTime) {
    forEveryRefusal([](Attempt& attempt) {
        TOParsing parser = parse();
        const auto ask = [&] { static_cast<void>(parser.lopt(missing, req_arg)); };
        std::string message;
        const bool refused = attempt.run([&] { message = raised(ask); });
        const std::string whole = "Requires long option '--" + missing + "'";
        EXPECT_EQ(message, refused ? "" : whole);
        EXPECT_EQ(raised(ask), whole);
    });
}

TEST(RefusedParsing, MissingShortOptionLikewise) {
    forEveryRefusal([](Attempt& attempt) {
        TOParsing parser = parse();
        const auto ask = [&] { static_cast<void>(parser.sopt('q')); };
        attempt.run([&] { EXPECT_EQ(raised(ask), "Requires short option '-q'"); });
        EXPECT_EQ(raised(ask), "Requires short option '-q'");
    });
}

TEST(RefusedParsing, UnsuitableOptionLikewise) {
    forEveryRefusal([](Attempt& attempt) {
        TOParsing parser = parse();
        const auto ask = [&] { static_cast<void>(parser.lopt(file, no_arg)); };
        const std::string message = "Incorrect long option '--configuration-file'";
        attempt.run([&] { EXPECT_EQ(raised(ask), message); });
        EXPECT_EQ(raised(ask), message);
    });
}

template <class Error>
void copyRefused(const std::function<void()>& operation) {
    try {
        operation();
    } catch (const Error& error) {
        forEveryRefusal([&error](Attempt& attempt) {
            const bool refused = attempt.run([&error] {
                const Error copy(error);
                EXPECT_EQ(copy.message(), error.message());
            });
            EXPECT_EQ(refused, attempt.refused());
        });
        return;
    }
    FAIL() << "nothing was raised";
}

TEST(RefusedParsing, CopyOfAnErrorIsWholeOrBadAlloc) {
    TOParsing parser = parse();
    copyRefused<TOParsing::TNoLOpt>([&] { static_cast<void>(parser.lopt(missing, req_arg)); });
    copyRefused<TOParsing::TBadLOpt>([&] { static_cast<void>(parser.lopt(file, no_arg)); });
    parser.clear();
    static_cast<void>(parser.sopt('x'));
    copyRefused<TOParsing::TUnknLOpt>([&] { parser.check(); });
}

TEST(RefusedParsing, ValueThatIsRefusedLeavesItsTarget) {
    forEveryRefusal([](Attempt& attempt) {
        TOParsing parser = parse();
        const TOParsing::TResult result = parser.lopt(file, req_arg);
        std::string target = "before";
        const bool refused = attempt.run([&] { result >> target; });
        EXPECT_EQ(target, refused ? "before" : "/etc/a-long-file-name");
    });
}

TEST(RefusedParsing, ClaimsAskForNothing) {
    TOParsing parser = parse();
    const TOParsing::TResult result = parser.lopt(bare, req_arg);
    const Attempt attempt(1, true, test::Refused::caller);
    EXPECT_FALSE(attempt.run([&] {
        parser.clear();
        EXPECT_TRUE(static_cast<bool>(parser.sopt('x')));
        EXPECT_TRUE(static_cast<bool>(parser.sopt('x')));
    }));
    EXPECT_FALSE(attempt.refused());
    expectUnclaimed(parser, "Unknown option '--" + file + "'");
}

TEST(RefusedParsing, CheckThatIsRefusedFailsTheSameWayNextTime) {
    for (const char letter : {'x', 'y'}) {  // an unknown short option, then an unknown long one
        forEveryRefusal([letter](Attempt& attempt) {
            TOParsing parser = parse();
            {
                const TOParsing::TResult result = parser.sopt(letter);
                parser.clear();
            }
            const std::string message =
                letter == 'x' ? "Unknown option '--" + bare + "'" : "Unknown option '-x'";
            attempt.run([&] { EXPECT_EQ(raised([&] { parser.check(); }), message); });
            expectUnclaimed(parser, message);
        });
    }
}

TEST(RefusedParsing, ResultsInScopeAreReleasedQuietlyWhileARefusalUnwinds) {
    forEveryRefusal([](Attempt& attempt) {
        TOParsing parser = parse();
        const bool refused = attempt.run([&] {
            const TOParsing::TResult first = parser.lopt(missing, req_arg);
            const TOParsing::TResult second = parser.lopt(bare, req_arg);
            const TOParsing::TResult third = parser.lopt(file, req_arg);
        });
        EXPECT_EQ(refused, attempt.refused());
        expectUnclaimed(parser,
                        refused ? raised([&] { parser.check(); }) : "Unknown option '-x'");
    });
}

TEST(RefusedParsing, CopiesAndAnswersAskForNothing) {
    const TOParsing parser = parse();
    const Attempt attempt(1, true, test::Refused::caller);
    EXPECT_FALSE(attempt.run([&] {
        TOParsing copy(parser);
        copy = parser;
        copy.exceptions(TOParsing::nobit);
        EXPECT_EQ(copy.state(), TOParsing::goodbit);
    }));
    EXPECT_FALSE(attempt.refused());
}

}  // namespace
