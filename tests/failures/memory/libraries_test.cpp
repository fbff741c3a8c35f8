// What the libraries of options, processes and errors do with each of their requests for memory
// refused, but for runs: whatever an operation makes or changes is whole or as it was.

#include <cerrno>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include "manager/manager.h"
#include "tests/failures/memory/refusal.h"
#include "tests/models/options_line.h"
#include "zarnic/error/system_error.h"
#include "zarnic/opt/parsing.h"
#include "zarnic/sys/exec_list.h"
#include "zarnic/sys/function_call.h"
#include "zarnic/sys/preparers.h"

namespace {

using test::Attempt;
using test::forEveryRefusal;
using zarnic::SharedHandle;
using zarnic::SystemError;
using zarnic::TError;
using zarnic::opt::no_arg;
using zarnic::opt::req_arg;
using zarnic::opt::TOParsing;
using zarnic::opt::TOpts;
using zarnic::sys::TEArgs;
using zarnic::sys::TExec;
using zarnic::sys::TExecList;
using zarnic::sys::TSysCallErr;

const std::string word = "a text that is too long to be kept inside of a string object";
const char* const line[] = {"avmanager",
                            "--configuration-file=/etc/a-file-with-a-long-name",
                            "-x",
                            "--an-option-without-a-value",
                            "a plain argument that is long as well",
                            nullptr};
const std::string file = "configuration-file";
const std::string bare = "an-option-without-a-value";
const std::string missing = "an-option-that-nobody-gave";

TEArgs words(std::size_t count) {
    TEArgs args;
    while (args.size() < count) {
        args << word;
    }
    return args;
}

TOParsing parse() { return {line, 5}; }

// --- what makes something new ---

// The Error that `operation` throws.
template <class Error, class Operation>
Error thrown(const Operation& operation) {
    try {
        operation();
    } catch (const Error& error) {
        return error;
    }
    throw std::logic_error("nothing was thrown");
}

TEST(RefusedMaking, IsWholeOrNothing) {
    const auto body = [] { return 0; };
    const TExec exec = TExec(TEArgs() << word).fromFile(word);
    const TExecList list = exec | exec | exec;
    TOParsing parser = parse();
    const auto none = thrown<TOParsing::TNoLOpt>([&] { parser.lopt(missing, req_arg); });
    const auto bad = thrown<TOParsing::TBadLOpt>([&] { parser.lopt(file, no_arg); });
    const auto unknown = thrown<TOParsing::TUnknSOpt>([] { parse().check(); });
    const auto over = thrown<TEArgs::TOverflow>([] { words(TEArgs::max_size) << word; });
    const auto beyond = thrown<TEArgs::TOutOfRange>([] { (void)words(2).at(2); });
    const SystemError plain(word, ECHILD);
    const std::string plain_text = plain.what();
    const std::function<void()> makings[] = {
        [] { EXPECT_EQ(*SharedHandle<int>(new int(1)), 1); },  // deleted without its count
        [] { EXPECT_STREQ(TError(word).what(), word.c_str()); },
        [] { EXPECT_EQ(SystemError(word, EPERM).error(), EPERM); },
        [] { EXPECT_EQ(TOpts(line, 5).arguments().size(), 4U); },
        [] { EXPECT_EQ(TOpts(line).longOptions().size(), 2U); },
        [] { EXPECT_EQ(TOpts(nullptr, 0).programName(), ""); },
        [] { EXPECT_EQ(TOParsing(line, 5).options().arguments().size(), 4U); },
        [] { EXPECT_EQ(TEArgs().size(), 0U); },
        [] { EXPECT_EQ(TExec(TEArgs() << word, TExec::fork_mode).args().at(0), word); },
        [&] { EXPECT_NE(TExec::Preparer(new zarnic::sys::TFnCall(body)).get(), nullptr); },
        [&] { EXPECT_EQ((exec | exec | exec).programs().size(), 3U); },
        [&] { EXPECT_EQ((TExecList() | exec).programs().size(), 1U); },
        [&] { EXPECT_EQ(TExecList(list).programs().size(), 3U); },
        [&] { EXPECT_EQ(TOParsing::TNoLOpt(none).name(), missing); },
        [&] { EXPECT_EQ(TOParsing::TBadLOpt(bad).entry().name, file); },
        [&] { EXPECT_EQ(TOParsing::TUnknSOpt(unknown).entry().letter, 'x'); },
        [&] { EXPECT_STREQ(TEArgs::TOverflow(over).what(), over.what()); },
        [&] { EXPECT_STREQ(TEArgs::TOutOfRange(beyond).what(), beyond.what()); },
        [&] { EXPECT_STREQ(SystemError(plain).what(), plain_text.c_str()); },
    };
    int number = 0;
    for (const auto& making : makings) {
        SCOPED_TRACE("making " + std::to_string(++number));
        forEveryRefusal([&](Attempt& attempt) {
            const bool refused = attempt.run(making);
            EXPECT_EQ(refused, attempt.refused());
            EXPECT_EQ(exec.preparer().useCount(), 4);  // its own, and those of the list
            EXPECT_EQ(list.programs().size(), 3U);
        });
    }
}

// --- what changes something, or shares something of it ---

std::string shown(const TEArgs& args) {
    for (std::size_t i = 0; i < args.size(); ++i) {
        if (args.at(i) != word) {
            return "a lost element";
        }
    }
    return std::to_string(args.size());
}

std::string shown(const TError& error) {
    return error.message() + " " + std::to_string(error.nested().useCount());
}

std::string shown(const TExec& exec) { return std::to_string(exec.preparer().useCount()); }

std::string shown(const TExecList& list) { return shown(list.programs().back()); }

// The operation on what `make` makes leads to `after`, or leaves it. A copy that shares with
// it, or another one, stays as it is.
template <class Make, class Operation>
void expectChange(const Make& make, const Operation& operation, const std::string& after) {
    for (const bool shared : {false, true}) {
        forEveryRefusal([&](Attempt& attempt) {
            auto thing = make();
            const auto other = shared ? thing : make();
            const std::string before = shown(thing);
            const bool refused = attempt.run([&] { operation(thing); });
            EXPECT_EQ(refused, attempt.refused());
            EXPECT_EQ(shown(thing), refused || after.empty() ? before : after);
            EXPECT_EQ(shown(other), before);
        });
    }
}

// Room for ten, and full at ten: with and without a growing of the elements.
TEST(RefusedChange, LeavesAListAndItsCopies) {
    for (const std::size_t count : {3U, 10U}) {
        const auto make = [count] { return words(count); };
        const auto plus = [count](std::size_t more) { return std::to_string(count + more); };
        const auto addText = [](TEArgs& args) { args << word; };
        const auto addCharacters = [](TEArgs& args) { args << word.c_str(); };
        const auto addList = [](TEArgs& args) { args.append(words(7)); };
        const auto addItself = [](TEArgs& args) { args.append(args); };
        const auto addToACopy = [](TEArgs& args) { static_cast<void>(args + word.c_str()); };
        expectChange(make, addText, plus(1));
        expectChange(make, addCharacters, plus(1));
        expectChange(make, addList, plus(7));
        expectChange(make, addItself, plus(count));
        expectChange(make, addToACopy, "");
    }
}

template <class Make>
void expectAttachmentsLeave(const Make& make) {
    using Runner = decltype(make());
    const std::function<Runner(const Runner&)> attachments[] = {
        [](const Runner& runner) { return runner.toFile(word); },
        [](const Runner& runner) { return runner.appendToFile(word); },
        [](const Runner& runner) { return runner.redirectToFile(2, word, true); },
        [](const Runner& runner) { return runner.redirect(2, 1); },
        [](const Runner& runner) { return runner.fromFile(word); },
        [](const Runner& runner) { return runner.fromText(word); },
        [](const Runner& runner) { return runner.toFile(word).fromText(word).redirect(2, 1); },
    };
    for (const auto& attach : attachments) {
        const auto attached = [&](Runner& runner) { static_cast<void>(attach(runner)); };
        expectChange(make, attached, "");
    }
}

TEST(RefusedChange, AttachmentsLeaveARunnerAndAPipeline) {
    const auto plain = [] { return TExec(TEArgs() << word); };
    expectAttachmentsLeave(plain);
    expectAttachmentsLeave([&] { return plain().fromFile(word); });
    expectAttachmentsLeave([&] { return plain() | plain(); });
}

TEST(RefusedChange, AssignmentLeavesAnError) {
    const TError source(word);
    forEveryRefusal([&](Attempt& attempt) {
        TError target("short");
        const bool refused = attempt.run([&] { target = source; });
        EXPECT_EQ(refused, attempt.refused());
        EXPECT_EQ(shown(target), refused ? "short 1" : word + " 2");
    });
}

TEST(RefusedChange, ValueThatIsRefusedLeavesItsTarget) {
    forEveryRefusal([](Attempt& attempt) {
        TOParsing parser = parse();
        const TOParsing::TResult result = parser.lopt(file, req_arg);
        std::string target = "before";
        const bool refused = attempt.run([&] { result >> target; });
        EXPECT_EQ(refused, attempt.refused());
        EXPECT_EQ(target, refused ? "before" : "/etc/a-file-with-a-long-name");
    });
}

// --- what raises an error ---

// The message of the library error that an operation raises, empty for none.
template <class Operation>
std::string raised(const Operation& operation) {
    try {
        operation();
        return "";
    } catch (const TError& error) {
        return error.message();
    } catch (const SystemError& error) {
        return std::to_string(error.error());
    }
}

// Raised as itself or as std::bad_alloc, and as itself next time. The error's own memory may be
// refused without a trace: the C++ library keeps some for that. What is asked on a copy of the
// parser is asked on the parser.
TEST(RefusedError, IsRaisedOrBadAllocAndRaisedNextTime) {
    const TOpts options(line);
    TEArgs full = words(TEArgs::max_size);
    struct Row {
        std::string text;
        std::function<void(TOParsing&)> operation;
    };
    std::vector<Row> rows = {
        {"Wrong index (index = 5)",
         [&](TOParsing&) { static_cast<void>(options.argument(5)); }},
        {"Wrong index (index = 100)", [&](TOParsing&) { static_cast<void>(full.at(100)); }},
        {"The number of arguments has exceeded the defined limits (arguments number = 100, "
         "add. "
         "arguments number = 1, max = 100)",
         [&](TOParsing&) { full << word; }},
        {"Too many open files", [](TOParsing&) { throw TSysCallErr(EMFILE); }},
        {"Requires long option '--" + missing + "'",
         [](TOParsing& parser) { parser.lopt(missing, req_arg); }},
        {"Requires short option '-q'", [](TOParsing& parser) { parser.sopt('q'); }},
        {"Incorrect long option '--configuration-file'",
         [](TOParsing& parser) { parser.lopt(file, no_arg); }},
        {"Unknown option '-x'", [](TOParsing& parser) { parser.check(); }},
        {"Unknown option '--" + bare + "'",
         [](TOParsing& parser) {
             parser.sopt('x');
             parser.check();
         }},
        // An error number of 0 stands for errno as it was before anything was asked for.
        {"2",
         [](TOParsing&) {
             errno = ENOENT;
             zarnic::throw_system_error(word, 0);
         }},
    };
    for (const int number : {EPERM, ENOENT, EINTR, ECHILD, EAGAIN, EMFILE}) {
        rows.push_back({std::to_string(number),
                        [number](TOParsing&) { zarnic::throw_system_error(word, number); }});
    }
    for (const auto& row : rows) {
        SCOPED_TRACE(row.text);
        forEveryRefusal([&](Attempt& attempt) {
            TOParsing parser = parse();
            std::string message;
            const auto ask = [&] { row.operation(parser); };
            const bool refused = attempt.run([&] { message = raised(ask); });
            EXPECT_EQ(message, refused ? "" : row.text);
            EXPECT_EQ(raised(ask), row.text);
            EXPECT_EQ(full.size(), TEArgs::max_size);
        });
    }
}

TEST(RefusedError, WhatOfASystemErrorIsTheBareMessageWhileRefusedAndWholeLater) {
    forEveryRefusal([](Attempt& attempt) {
        const SystemError error(word, ECHILD);
        std::size_t length = 0;
        const bool refused =
            attempt.run([&] { length = std::char_traits<char>::length(error.what()); });
        const std::string whole = word + ": No child processes";
        EXPECT_FALSE(refused) << "what() never throws";
        EXPECT_TRUE(length == whole.size() || (length == word.size() && attempt.refused()));
        EXPECT_EQ(error.what(), whole);
    });
}

TEST(RefusedError, CopyOfAUserErrorKeepsItsTextOrSaysErrorAndNeverThrows) {
    const TUError original(word);
    forEveryRefusal([&](Attempt& attempt) {
        EXPECT_FALSE(attempt.run([&] {
            const TUError copy(
                original);  // NOLINT(performance-unnecessary-copy-initialization)
            Attempt::disarm();
            EXPECT_EQ(copy.message(), attempt.refused() ? "Error" : word);
        }));
        EXPECT_EQ(original.message(), word);
    });
}

// --- parsers ---

// A query for a required option that is there asks for nothing: see below.
TEST(RefusedParsing, OptionalQueryThatIsRefusedClaimsNothingAndCanBeAskedAgain) {
    const struct {
        const char* argument;
        bool (*ask)(TOParsing&);
    } rows[] = {
        {"--an-option-without-a-value",
         [](TOParsing& parser) { return bool(parser.optionalLong(bare, no_arg)); }},
        {"-x", [](TOParsing& parser) { return bool(parser.optionalShort('x')); }},
    };
    for (const auto& row : rows) {
        const char* const argv[] = {"avmanager", row.argument, nullptr};
        const std::string unknown = std::string("Unknown option '") + row.argument + "'";
        forEveryRefusal([&](Attempt& attempt) {
            TOParsing parser(argv, 2);
            if (attempt.run([&] { EXPECT_TRUE(row.ask(parser)); })) {
                EXPECT_EQ(raised([&] { parser.check(); }), unknown);
                EXPECT_TRUE(row.ask(parser));
            }
            EXPECT_EQ(raised([&] { parser.check(); }), "");
        });
    }
}

// After a query that was refused the state is good, and the check goes on to what is unknown.
TEST(RefusedParsing, ResultsInScopeAreReleasedQuietlyWhileARefusalUnwinds) {
    const std::string either = missing + " either";
    forEveryRefusal([&](Attempt& attempt) {
        TOParsing parser = parse();
        int asked = 0;
        const bool refused = attempt.run([&] {
            const TOParsing::TResult first = parser.lopt(missing, req_arg);
            ++asked;
            const TOParsing::TResult second = parser.lopt(either, req_arg);
            ++asked;
            delete new std::string(word);
            parser.clear();
        });
        EXPECT_EQ(refused, attempt.refused());
        EXPECT_EQ(raised([&] { parser.check(); }),
                  refused && asked == 2 ? "Requires long option '--" + either + "'"
                                        : "Unknown option '-x'");
    });
}

// --- what asks for nothing ---

TEST(RefusedQuestions, AskForNothing) {
    const SharedHandle<int> handle(new int(1));
    const TOpts options(line);
    TOParsing parser = parse();
    const TOParsing::TResult result = parser.lopt(bare, req_arg);
    const TEArgs args = words(2);
    const TExec exec = TExec(TEArgs() << word).fromFile(word);
    const Attempt attempt(1, true, test::Refused::caller);
    EXPECT_FALSE(attempt.run([&] {
        SharedHandle<int> sameHandle(handle);
        sameHandle = handle;
        sameHandle.release();
        const TOpts sameOptions(options);
        EXPECT_NE(sameOptions.findLong(file), nullptr);
        EXPECT_NE(sameOptions.findShort('x'), nullptr);
        EXPECT_EQ(sameOptions.argument(0), line[1]);
        TOParsing sameParser(parser);
        sameParser = parser;
        sameParser.exceptions(TOParsing::nobit | TOParsing::unknbit);
        EXPECT_EQ(sameParser.state(), TOParsing::badbit);
        sameParser.clear();
        EXPECT_TRUE(parser.sopt('x'));
        EXPECT_TRUE(parser.sopt('x'));
        EXPECT_TRUE(parser.lopt(bare, no_arg));
        TEArgs sameArgs(args);
        sameArgs = args;
        EXPECT_EQ(sameArgs.at(1), word);
        EXPECT_EQ(exec.withMode(3).mode(), 3U);
        EXPECT_EQ(exec.withModeToggled(2).mode(), 5U);
    }));
    EXPECT_FALSE(attempt.refused());
    EXPECT_EQ(raised([&] { parser.check(); }), "Unknown option '--" + file + "'");
}

}  // namespace
