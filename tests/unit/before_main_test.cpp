// What static objects of other files may use before main and after it: the texts of errors, and
// the empty list. The objects here are made before those of the libraries, whose files are
// linked later.

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "zarnic/opt/parsing.h"
#include "zarnic/sys/exec.h"

namespace zarnic {
namespace {

template <class Error, class... Arguments>
std::string textOf(const Arguments&... arguments) {
    return Error(arguments...).message();
}

const char* const line[] = {"program", "--long", "-s", nullptr};
const opt::TOpts options(line);
const opt::TOpts::ShortEntry& s = *options.findShort('s');
const opt::TOpts::LongEntry& l = *options.findLong("long");

using opt::TOParsing;
using sys::TEArgs;

const struct {
    std::string made;
    std::string expected;
} early_texts[] = {
    {textOf<TEArgs::TOutOfRange>(sys::el, 7U), "Wrong index (index = 7)"},
    {textOf<TEArgs::TOverflow>(sys::el, 101U),
     "The number of arguments has exceeded the defined limits (arguments number = 0, "
     "add. arguments number = 101, max = 100)"},
    {textOf<opt::TOpts::TOutOfRange>(options, 7U), "Wrong index (index = 7)"},
    {textOf<TOParsing::TNoSOpt>('x'), "Requires short option '-x'"},
    {textOf<TOParsing::TNoLOpt>(std::string("x")), "Requires long option '--x'"},
    {textOf<TOParsing::TBadLOpt>(options, l), "Incorrect long option '--long'"},
    {textOf<TOParsing::TUnknSOpt>(options, s), "Unknown option '-s'"},
    {textOf<TOParsing::TUnknLOpt>(options, l), "Unknown option '--long'"},
};

// What the empty list is at its very end is seen by the sanitizers.
const TEArgs early_arguments = sys::el + sys::bad_execute_arguments;
const std::shared_ptr<const TEArgs> used_last(&sys::el, [](const TEArgs* list) {
    static_cast<void>(*list + "cat");
});

TEST(BeforeMain, ErrorsHaveTheirTexts) {
    for (const auto& text : early_texts) {
        EXPECT_EQ(text.made, text.expected);
    }
}

TEST(BeforeMain, ListsAreStartedFromTheEmptyOne) {
    EXPECT_EQ(early_arguments.elements(), std::vector<std::string>{"Bad execute arguments"});
    EXPECT_EQ(sys::el.size(), 0U);
}

}  // namespace
}  // namespace zarnic
