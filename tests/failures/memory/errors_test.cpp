#include <cerrno>
#include <string>

#include "tests/failures/memory/refusal.h"
#include "zarnic/error/error.h"
#include "zarnic/error/shared_handle.h"
#include "zarnic/error/system_error.h"

namespace {

using test::Attempt;
using test::forEveryRefusal;
using zarnic::SharedHandle;
using zarnic::SystemError;
using zarnic::TError;

const std::string long_text = "a message that is too long to be kept inside a string";

struct Counted {
    explicit Counted(int& alive) : alive_(alive) { ++alive_; }
    Counted(const Counted&) = delete;
    Counted& operator=(const Counted&) = delete;
    ~Counted() { --alive_; }
    int& alive_;
};

TEST(RefusedHandle, ObjectIsDeletedOnceWhenItsCountIsRefused) {
    forEveryRefusal([](Attempt& attempt) {
        int alive = 0;
        const bool refused = attempt.run([&] {
            const SharedHandle<Counted> handle(new Counted(alive));
            const SharedHandle<Counted> copy(handle);
            EXPECT_EQ(handle.useCount(), 2);
        });
        EXPECT_EQ(refused, attempt.refused());
        EXPECT_EQ(alive, 0);
    });
}

TEST(RefusedHandle, CopyAndReleaseAskForNothing) {
    const SharedHandle<int> handle(new int(1));
    const Attempt attempt(1, true, test::Refused::caller);
    EXPECT_FALSE(attempt.run([&] {
        SharedHandle<int> copy(handle);
        copy = handle;
        copy.release();
    }));
    EXPECT_FALSE(attempt.refused());
}

TEST(RefusedError, IsMadeWholeOrNotAtAll) {
    forEveryRefusal([](Attempt& attempt) {
        const bool refused = attempt.run([] {
            const TError error(long_text);
            EXPECT_STREQ(error.what(), long_text.c_str());
        });
        EXPECT_EQ(refused, attempt.refused());
    });
}

TEST(RefusedError, CopyThatIsRefusedLeavesTheOriginal) {
    forEveryRefusal([](Attempt& attempt) {
        const TError error(long_text);
        const bool refused = attempt.run([&] {
            const TError copy(error);
            EXPECT_EQ(copy.nested().useCount(), 2);
        });
        EXPECT_EQ(refused, attempt.refused());
        EXPECT_EQ(error.message(), long_text);
        EXPECT_EQ(error.nested().useCount(), 1);
    });
}

TEST(RefusedError, AssignmentThatIsRefusedLeavesTheMessage) {
    forEveryRefusal([](Attempt& attempt) {
        const TError source(long_text);
        TError target("short");
        const bool refused = attempt.run([&] { target = source; });
        EXPECT_EQ(refused, attempt.refused());
        EXPECT_EQ(target.message(), refused ? "short" : long_text);
    });
}

// Some C libraries ask for memory in strerror and do without when they get none. So not every
// refusal is felt, but what is made is whole.
TEST(RefusedError, SystemCallErrorKeepsItsNumber) {
    forEveryRefusal([](Attempt& attempt) {
        bool made = false;
        const bool refused = attempt.run([&] {
            const zarnic::sys::TSysCallErr error(ENOENT);
            made = error.error() == ENOENT && error.message() == "No such file or directory";
        });
        EXPECT_NE(made, refused);
        EXPECT_TRUE(made || attempt.refused());
    });
}

TEST(RefusedError, IsThrownAsItselfOrAsBadAlloc) {
    forEveryRefusal([](Attempt& attempt) {
        bool caught = false;
        const bool refused = attempt.run([&] {
            try {
                throw zarnic::sys::TSysCallErr(EMFILE);
            } catch (const TError& error) {
                caught = error.message() == "Too many open files";
            }
        });
        EXPECT_NE(caught, refused);
    });
}

TEST(RefusedSystemError, WhatIsTheBareMessageWhileRefusedAndWholeLater) {
    forEveryRefusal([](Attempt& attempt) {
        const SystemError error(long_text, ECHILD);
        std::size_t length = 0;
        const bool refused =
            attempt.run([&] { length = std::char_traits<char>::length(error.what()); });
        const std::string whole = long_text + ": No child processes";
        EXPECT_FALSE(refused) << "what() never throws";
        const bool bare = length == long_text.size();
        EXPECT_TRUE(length == whole.size() || (bare && attempt.refused())) << length;
        EXPECT_EQ(error.what(), whole);
    });
}

TEST(RefusedSystemError, CopyThatIsRefusedLeavesTheOriginal) {
    forEveryRefusal([](Attempt& attempt) {
        const SystemError error("waitpid() failed", ECHILD);
        const std::string whole = error.what();
        const bool refused = attempt.run([&] {
            const SystemError copy(error);
            EXPECT_EQ(copy.error(), ECHILD);
        });
        EXPECT_EQ(refused, attempt.refused());
        EXPECT_EQ(error.what(), whole);
    });
}

TEST(RefusedSystemError, IsThrownInItsClassOrAsBadAlloc) {
    for (const int number : {EPERM, ENOENT, EINTR, EAGAIN, ECHILD, EMFILE}) {
        forEveryRefusal([number](Attempt& attempt) {
            int caught = 0;
            const bool refused = attempt.run([&] {
                try {
                    zarnic::throw_system_error(long_text, number);
                } catch (const SystemError& error) {
                    caught = error.error();
                }
            });
            EXPECT_EQ(caught, refused ? 0 : number);
        });
    }
}

// The first thing refused is the room for the exception, which has a reserve: errno is that of
// the refusal by then.
TEST(RefusedSystemError, ZeroStandsForErrnoAsItWasBeforeAnythingWasAskedFor) {
    forEveryRefusal([](Attempt& attempt) {
        int caught = 0;
        const bool refused = attempt.run([&] {
            try {
                errno = ENOENT;
                zarnic::throw_system_error(long_text, 0);
            } catch (const SystemError& error) {
                caught = error.error();
            }
        });
        EXPECT_EQ(caught, refused ? 0 : ENOENT);
    });
}

}  // namespace
