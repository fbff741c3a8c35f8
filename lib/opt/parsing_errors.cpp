#include "zarnic/opt/parsing.h"

namespace zarnic::opt {

namespace {

// No std::strings: a static object of another file may throw before they would be made.
constexpr char requires_short[] = "Requires short option";
constexpr char requires_long[] = "Requires long option";
constexpr char incorrect_long[] = "Incorrect long option";
constexpr char unknown_option[] = "Unknown option";

std::string quoteShort(const char* leading, char letter) {
    return std::string(leading) + " '-" + letter + "'";
}

std::string quoteLong(const char* leading, const std::string& name) {
    return std::string(leading) + " '--" + name + "'";
}

}  // namespace

TOParsing::TNoSOpt::TNoSOpt(char letter)
    : TPError(quoteShort(requires_short, letter)), letter_(letter) {}

TOParsing::TNoLOpt::TNoLOpt(const std::string& name)
    : TPError(quoteLong(requires_long, name)), name_(name) {}

TOParsing::TBadLOpt::TBadLOpt(const TOpts& options, const TOpts::LongEntry& entry)
    : TPError(quoteLong(incorrect_long, entry.name)), options_(options), entry_(entry) {}

TOParsing::TUnknSOpt::TUnknSOpt(const TOpts& options, const TOpts::ShortEntry& entry)
    : TPError(quoteShort(unknown_option, entry.letter)), options_(options), entry_(entry) {}

TOParsing::TUnknLOpt::TUnknLOpt(const TOpts& options, const TOpts::LongEntry& entry)
    : TPError(quoteLong(unknown_option, entry.name)), options_(options), entry_(entry) {}

}  // namespace zarnic::opt
