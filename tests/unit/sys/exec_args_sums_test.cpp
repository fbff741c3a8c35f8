// Lists made in an expression, as el + "cat" + path.

#include <gtest/gtest.h>

#include <string>

#include "zarnic/sys/exec_args.h"

namespace zarnic::sys {
namespace {

using Elements = std::vector<std::string>;

// Made and ended by this file's static objects: the empty list is made before them and ended
// after them. What it is at its very end is seen by the sanitizers.
const TEArgs made_before_main = el + "cat" + std::string("file");
struct UsesItLast {
    UsesItLast() = default;
    UsesItLast(const UsesItLast&) = delete;
    UsesItLast& operator=(const UsesItLast&) = delete;
    ~UsesItLast() { static_cast<void>(el + "cat"); }
} const used_last;

TEST(ExecArgsSums, ATextIsAddedInACopy) {
    const TEArgs source = el + "cat";
    const std::string with_nul("a\0b", 3);
    const TEArgs made =
        source + std::string("a long enough text to live on the heap") + with_nul;
    EXPECT_EQ(made.elements(),
              (Elements{"cat", "a long enough text to live on the heap", with_nul}));
    EXPECT_EQ(source.elements(), Elements{"cat"});
    EXPECT_EQ(el.size(), 0U);
}

TEST(ExecArgsSums, ATextThatDoesNotFitIsRefused) {
    TEArgs full;
    while (full.size() < TEArgs::max_size) {
        full << "element";
    }
    EXPECT_THROW(full + std::string("one more"), TEArgs::TOverflow);
    EXPECT_EQ(full.size(), TEArgs::max_size);
}

TEST(ExecArgsSums, TheEmptyListServesBeforeMain) {
    EXPECT_EQ(made_before_main.elements(), (Elements{"cat", "file"}));
}

}  // namespace
}  // namespace zarnic::sys
