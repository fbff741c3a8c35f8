// Lets commands claim the options that they understand, and reports what nobody claimed.
//
//   TOParsing parser(argv, argc);
//   std::string file;
//   parser.lopt("file", req_arg) >> file;           // required: throws at the semicolon
//   parser.optionalLong("user", req_arg) >> user;   // optional: `user` may keep its text
//   parser.check();                                 // an option that nobody asked for throws
//
// A query never throws a parsing error. It leaves a state and a pending check behind, like a
// stream with state bits and an exception mask. The check runs when the query's result is
// released, that is, when the result ends. Whichever result is released first checks the latest
// query.
//
// So a result's destructor may throw. Do not hold one in a class or a container: their own
// destructors are noexcept, and the program would end. Do not keep a reference to a chained
// query either, as in `const auto& r = parser.lopt("file", req_arg) >> file;`: the result that
// it refers to is released at the semicolon.

#pragma once

#include <concepts>
#include <cstdint>
#include <string>
#include <vector>

#include "zarnic/error/error.h"
#include "zarnic/opt/options.h"

namespace zarnic::opt {

// Kinds of a long-option query: what its value must be. Any other kind behaves as opt_arg.
inline constexpr int no_arg = 0;   // no value; an empty one counts as none
inline constexpr int opt_arg = 1;  // any value or none
inline constexpr int req_arg = 2;  // a value that is not empty

// A copyable handle on one parser state. All copies see and change the same state; the last
// one frees it.
class TOParsing {
  public:
    // The state starts every query at goodbit. nobit: the option is not on the command line.
    // badbit: its value does not suit the queried kind. unknbit is never in the state; in the
    // mask it makes check() look for options that nobody claimed.
    static constexpr std::uint64_t goodbit = 0;
    static constexpr std::uint64_t nobit = 1;
    static constexpr std::uint64_t unknbit = 2;
    static constexpr std::uint64_t badbit = 4;

    // What a query returns, and what its release or check() may throw.
    class TResult;
    class TPError;
    class TNoSOpt;
    class TNoLOpt;
    class TBadLOpt;
    class TUnknSOpt;
    class TUnknLOpt;

    // Splits the arguments (see TOpts). The state starts at goodbit and the exception mask with
    // all three bits. Throws std::bad_alloc only: parsing errors surface through results.
    TOParsing(const char* const* argv, int argc);

    // Asks for a long option whose value suits `kind`. One that is found counts as claimed. One
    // that is missing (nobit) or whose value does not suit (badbit) does not. As a statement of
    // its own it requires the option. Throws std::bad_alloc only.
    TResult lopt(const std::string& name, int kind);

    // Asks for a short option. One that is found counts as claimed. Throws std::bad_alloc only.
    TResult sopt(char letter);

    // The same for optional options: nothing to clear(), since the result never throws, and an
    // option with an unsuitable value is ignored. It counts as claimed all the same. The state
    // and the check of the latest query stay as they are. Throws std::bad_alloc only.
    [[nodiscard]] TResult optionalLong(const std::string& name, int kind);
    [[nodiscard]] TResult optionalShort(char letter);

    // Forgives the latest query: sets the state to goodbit, so that releasing its result raises
    // nothing. When the query ended in badbit and its result is not released yet, its option
    // counts as claimed: an optional option with an unsuitable value is ignored, also by
    // check(). Throws std::bad_alloc from the claim only, after the state is good.
    void clear();

    // The final check. Throws the latest query's error unless it was cleared or the mask lacks
    // its bit, also when the release of its result threw it already. Then throws TUnknSOpt or
    // TUnknLOpt for the first option that no query claimed, short options before long ones.
    //
    // On success every claim is forgotten and a new series of queries may start. Until its
    // first query, check() has nothing to examine and succeeds. After a failure the state and
    // the claims stay, and check() fails again.
    void check();

    // The state bits of the latest query.
    std::uint64_t state() const noexcept;

    // The exception mask: the bits that throw, named as the streams name it. All three are set
    // at first. Other bits mean nothing.
    std::uint64_t exceptions() const noexcept;
    void exceptions(std::uint64_t mask) noexcept;

    // The command line that the queries are answered from. It lives as long as the last handle.
    const TOpts& options() const noexcept;

  private:
    struct State {
        // With room for every claim, so that a claim asks for no memory.
        explicit State(const TOpts& commandLine) : options(commandLine) {
            claimedShort.reserve(options.shortOptions().size());
            claimedLong.reserve(options.longOptions().size());
        }
        State(const State&) = delete;
        State& operator=(const State&) = delete;

        bool raises(std::uint64_t bit) const { return (bits & bit) != 0 && (mask & bit) != 0; }

        TOpts options;
        std::uint64_t bits = goodbit;
        bool pending = false;  // the latest query has not been checked
        std::uint64_t mask = nobit | unknbit | badbit;
        bool missedLong = false;  // kind of the latest miss: long, else short
        char missingShort = 0;
        std::string missingLong{};
        const TOpts::LongEntry* bad = nullptr;  // the latest entry whose value did not suit
        std::vector<const TOpts::ShortEntry*> claimedShort{};
        std::vector<const TOpts::LongEntry*> claimedLong{};
        bool examined = false;  // check() succeeded and no query came since
    };

    explicit TOParsing(const TOpts& options) : state_(new State(options)) {}

    TResult makeResult(const TOpts::ShortEntry* shortEntry, const TOpts::LongEntry* longEntry);
    static void raisePending(TOParsing& handle);
    void examine() const;

    SharedHandle<State> state_;
};

// The answer to one query. Its end, or that of the full expression, runs the pending check.
class TOParsing::TResult {
  public:
    // Neither copied nor assigned: the check belongs to one release.
    TResult(const TResult&) = delete;
    TResult& operator=(const TResult&) = delete;

    // Throws TNoLOpt, TNoSOpt or TBadLOpt when the latest query failed, was not cleared, was
    // not checked before and the mask has its bit. Never while another exception unwinds; the
    // query counts as checked then.
    ~TResult() noexcept(false);  // NOLINT(bugprone-exception-escape): its purpose

    // True when the option was found and suits. To bool alone: as a number, a result could be
    // assigned to a text, compared or shifted by mistake.
    template <std::same_as<bool> Bool>
    operator Bool() const noexcept {  // NOLINT(google-explicit-constructor)
        return found_;
    }

    // Copies the option's value (of a short option: nothing, the empty text) into `target` when
    // found, and leaves `target` alone otherwise.
    const TResult& operator>>(std::string& target) const;

  private:
    friend class TOParsing;

    TResult(const TOpts::ShortEntry* shortEntry, const TOpts::LongEntry* longEntry,
            const TOParsing& parser)
        : shortEntry_(shortEntry),
          longEntry_(longEntry),
          found_(shortEntry != nullptr || longEntry != nullptr),
          parser_(parser) {}

    const TOpts::ShortEntry* shortEntry_;  // null: not a short option, or its table's end
    const TOpts::LongEntry* longEntry_;    // null: not a long option, or its table's end
    bool found_;
    TOParsing parser_;
};

// Base of the parser's errors. One about an entry shares the command line, so that the entry is
// valid as long as the error.
class TOParsing::TPError : public TError {
  public:
    using TError::TError;
};

// A required short option is missing: "Requires short option '-x'".
class TOParsing::TNoSOpt : public TPError {
  public:
    // The letter that was asked for.
    explicit TNoSOpt(char letter);
    char letter() const noexcept { return letter_; }

  private:
    char letter_;
};

// A required long option is missing: "Requires long option '--file'".
class TOParsing::TNoLOpt : public TPError {
  public:
    // The name that was asked for.
    explicit TNoLOpt(const std::string& name);
    const std::string& name() const noexcept { return name_; }

  private:
    std::string name_;
};

// A long option's value does not suit: "Incorrect long option '--file'".
class TOParsing::TBadLOpt : public TPError {
  public:
    // The entry concerned, which belongs to `options`.
    TBadLOpt(const TOpts& options, const TOpts::LongEntry& entry);
    const TOpts::LongEntry& entry() const noexcept { return entry_; }

  private:
    TOpts options_;
    const TOpts::LongEntry& entry_;
};

// A short option that nobody claimed: "Unknown option '-x'".
class TOParsing::TUnknSOpt : public TPError {
  public:
    // The entry concerned, which belongs to `options`.
    TUnknSOpt(const TOpts& options, const TOpts::ShortEntry& entry);
    const TOpts::ShortEntry& entry() const noexcept { return entry_; }

  private:
    TOpts options_;
    const TOpts::ShortEntry& entry_;
};

// A long option that nobody claimed: "Unknown option '--foo'".
class TOParsing::TUnknLOpt : public TPError {
  public:
    // The entry concerned, which belongs to `options`.
    TUnknLOpt(const TOpts& options, const TOpts::LongEntry& entry);
    const TOpts::LongEntry& entry() const noexcept { return entry_; }

  private:
    TOpts options_;
    const TOpts::LongEntry& entry_;
};

}  // namespace zarnic::opt
