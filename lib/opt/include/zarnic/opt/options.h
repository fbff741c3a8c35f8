// The command line after one pass of splitting: what was given, not what is allowed.
//
//   TOpts options(argv, argc);
//   if (const TOpts::LongEntry* file = options.findLong("file")) {
//       std::puts(file->value.c_str());
//   }
//
// Syntax, deliberately narrow:
//   --name        a long option without a value (and so is --name=)
//   --name=VALUE  a long option with a value; the value is everything after the first "="
//   -abc          the short options a, b and c; short options never carry values
//   anything else is a plain argument: "-", "--", "-a1", "-h-x", "--a1", "--a.b=1", "file"
// There is no end-of-options marker: options after "--" are options. A long name is an ASCII
// letter or "_", then letters, "_" and "-"; a short one is an ASCII letter or "_". Digits never
// belong to a name. Of an option given twice, the last occurrence wins.

#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "zarnic/error/error.h"

namespace zarnic::opt {

// A copyable handle on one split command line. Copies share it; the last one frees it.
class TOpts {
  public:
    // One short option that was given.
    struct ShortEntry {
        char letter;
        const std::string* argument;  // the element of arguments() that named it last
    };

    // One long option that was given.
    struct LongEntry {
        std::string name;
        std::string value;            // empty when none was given
        const std::string* argument;  // the element of arguments() that gave it last
    };

    // Order of the short options: as signed characters, whatever a machine's plain `char` is.
    struct SignedOrder {
        bool operator()(char left, char right) const noexcept {
            return static_cast<signed char>(left) < static_cast<signed char>(right);
        }
    };

    // The options that were given, by letter and by name, byte by byte.
    using ShortTable = std::map<char, ShortEntry, SignedOrder>;
    using LongTable = std::map<std::string, LongEntry, std::less<>>;

    class TOptsError;
    class TOutOfRange;

    // Splits argv[1] up to argv[argc - 1], stopping early at a null pointer. With argc below 1
    // or a null argv or argv[0], the command line stays empty. The strings are copied. Throws
    // std::bad_alloc.
    TOpts(const char* const* argv, int argc);

    // The same for a null-terminated argv without a count. Throws std::bad_alloc.
    explicit TOpts(const char* const* argv);

    // argv[0], empty when there was none. Valid, as everything that the queries below return,
    // as long as a handle on this command line.
    const std::string& programName() const noexcept;

    // Every argument after the program name, options included, in command-line order.
    const std::vector<std::string>& arguments() const noexcept;

    // The argument at `index`. Throws TOutOfRange when there is none.
    const std::string& argument(std::uint64_t index) const;

    // The entry of an option, or null when it was not given. Exact, case-sensitive match.
    const ShortEntry* findShort(char letter) const noexcept;
    const LongEntry* findLong(const std::string& name) const noexcept;

    // The options that were given, in ascending order of letter and of name (byte-wise).
    const ShortTable& shortOptions() const noexcept;
    const LongTable& longOptions() const noexcept;

  private:
    struct Parsed {
        std::string programName;
        std::vector<std::string> arguments;
        ShortTable shortOptions;
        LongTable longOptions;
    };

    static void addArgument(Parsed& parsed, const char* text);

    SharedHandle<Parsed> parsed_;
};

// Base of the errors about one command line, of which it keeps a handle.
class TOpts::TOptsError : public TError {
  public:
    // The command line concerned, shared by this error.
    TOptsError(const std::string& message, const TOpts& options);
    const TOpts& options() const noexcept { return options_; }

  private:
    TOpts options_;
};

// An index that names no argument: "Wrong index (index = 5)".
class TOpts::TOutOfRange : public TOptsError {
  public:
    // The offending index.
    TOutOfRange(const TOpts& options, std::uint64_t index);
    std::uint64_t index() const noexcept { return index_; }

  private:
    std::uint64_t index_;
};

}  // namespace zarnic::opt
