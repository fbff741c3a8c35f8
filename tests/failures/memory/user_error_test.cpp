#include <string>

#include "manager/manager.h"
#include "tests/failures/memory/refusal.h"

namespace {

using test::Attempt;
using test::forEveryRefusal;

const std::string long_text = "a condition too long to be kept inside a string";

TEST(RefusedUserError, CopyKeepsItsTextOrSaysErrorAndNeverThrows) {
    const TUError original(long_text);
    forEveryRefusal([&original](Attempt& attempt) {
        const bool thrown = attempt.run([&] {
            const TUError copy(
                original);  // NOLINT(performance-unnecessary-copy-initialization)
            Attempt::disarm();
            EXPECT_EQ(copy.message(), attempt.refused() ? "Error" : long_text);
        });
        EXPECT_FALSE(thrown);
        EXPECT_EQ(original.message(), long_text);
    });
}

}  // namespace
