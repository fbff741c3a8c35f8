#include "zarnic/opt/options.h"

#include <algorithm>
#include <cstddef>
#include <string_view>

namespace zarnic::opt {

namespace {

// Not a std::string: a static object of another file may throw before that would be made.
constexpr char wrong_index[] = "Wrong index";

// Fixed ASCII ranges instead of <cctype>: a locale must not change what an option is.
bool isNameStart(char c) {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '_';
}

bool isNamePart(char c) { return isNameStart(c) || c == '-'; }

// Splits "--name" or "--name=value"; false when the argument is not a long option. The two
// parts point into the argument.
bool splitLong(std::string_view argument, std::string_view& name, std::string_view& value) {
    if (argument.size() < 3 || !argument.starts_with("--") || !isNameStart(argument[2])) {
        return false;
    }
    std::size_t end = 3;
    while (end < argument.size() && isNamePart(argument[end])) {
        ++end;
    }
    if (end < argument.size() && argument[end] != '=') {
        return false;
    }
    name = argument.substr(2, end - 2);
    // Without a "=" the name ends where the argument does, and one further would be outside.
    value = argument.substr(std::min(end + 1, argument.size()));
    return true;
}

bool isShortGroup(std::string_view argument) {
    return argument.size() >= 2 && argument.front() == '-' &&
           std::all_of(argument.begin() + 1, argument.end(), isNameStart);
}

int countArguments(const char* const* argv) {
    int count = 0;
    while (argv != nullptr && argv[count] != nullptr) {
        ++count;
    }
    return count;
}

}  // namespace

TOpts::TOpts(const char* const* argv, int argc) : parsed_(new Parsed) {
    // Before Linux 5.18, execve(2) lets a caller give no arguments, not even a program name.
    if (argc < 1 || argv == nullptr || argv[0] == nullptr) {
        return;
    }
    parsed_->programName = argv[0];
    // The entries point into this list, so it must never move once the first one is made.
    parsed_->arguments.reserve(static_cast<std::size_t>(argc) - 1);
    // Not only up to argc: a null pointer ends argv, whatever the count says.
    for (int i = 1; i < argc && argv[i] != nullptr; ++i) {
        addArgument(*parsed_, argv[i]);
    }
}

// Counts first, so that the list is reserved: one that grows by itself would leave the entries
// pointing at freed strings.
TOpts::TOpts(const char* const* argv) : TOpts(argv, countArguments(argv)) {}

void TOpts::addArgument(Parsed& parsed, const char* text) {
    // In the list before anything else: the entry keeps a pointer to this very element.
    const std::string& argument = parsed.arguments.emplace_back(text);
    std::string_view name;
    std::string_view value;
    // Assigned and not only inserted: the last occurrence of an option wins, with its value.
    if (splitLong(argument, name, value)) {
        LongEntry& entry = parsed.longOptions[std::string(name)];
        entry = {std::string(name), std::string(value), &argument};
    } else if (isShortGroup(argument)) {
        for (const char letter : std::string_view(argument).substr(1)) {
            parsed.shortOptions[letter] = {letter, &argument};
        }
    }
}

const std::string& TOpts::programName() const noexcept { return parsed_->programName; }

const std::vector<std::string>& TOpts::arguments() const noexcept { return parsed_->arguments; }

const std::string& TOpts::argument(std::uint64_t index) const {
    if (index >= parsed_->arguments.size()) {
        throw TOutOfRange(*this, index);
    }
    return parsed_->arguments[static_cast<std::size_t>(index)];
}

const TOpts::ShortEntry* TOpts::findShort(char letter) const noexcept {
    const auto found = parsed_->shortOptions.find(letter);
    return found == parsed_->shortOptions.end() ? nullptr : &found->second;
}

const TOpts::LongEntry* TOpts::findLong(const std::string& name) const noexcept {
    const auto found = parsed_->longOptions.find(name);
    return found == parsed_->longOptions.end() ? nullptr : &found->second;
}

const TOpts::ShortTable& TOpts::shortOptions() const noexcept { return parsed_->shortOptions; }

const TOpts::LongTable& TOpts::longOptions() const noexcept { return parsed_->longOptions; }

TOpts::TOptsError::TOptsError(const std::string& message, const TOpts& options)
    : TError(message), options_(options) {}

TOpts::TOutOfRange::TOutOfRange(const TOpts& options, std::uint64_t index)
    : TOptsError(std::string(wrong_index) + " (index = " + std::to_string(index) + ")",
                 options),
      index_(index) {}

}  // namespace zarnic::opt
