// Refuses memory: every way of asking the heap for some can be made to fail, at its n-th call.
//
//   forEveryRefusal([](Attempt& attempt) {
//       Thing thing;                                           // made with memory
//       const bool refused = attempt.run([&] { thing.grow(); });   // true: std::bad_alloc
//       EXPECT_EQ(thing.size(), refused ? 0 : 1);
//   });
//
// Without sanitizers it stands in front of malloc, calloc, realloc and free themselves, so what
// the C and C++ libraries ask for on the program's behalf is refused, too. A sanitizer's own
// allocator cannot be replaced: then the calls of the product are refused, and those of the
// operators new, but not those that the C library makes inside (fopen, getdelim, printf).

#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <new>
#include <string>

namespace test {

// Which processes are refused: the one that makes the attempt, or those that it forks.
enum class Refused { caller, children };

// One run with the n-th request for memory refused, and with `onward` every later one, too.
class Attempt {
  public:
    Attempt(long nth, bool onward, Refused who);

    // Runs `operation`, refusing. True when it ended by std::bad_alloc; other exceptions pass.
    template <class Operation>
    bool run(const Operation& operation) const {
        const Armed armed(*this);
        try {
            operation();
        } catch (const std::bad_alloc&) {
            return true;
        }
        return false;
    }

    // From a child that is about to leave the operation: it goes on with memory.
    static void disarm();

    // Whether a request was refused since this attempt was made, in whatever process.
    bool refused() const;

    // "request 7 and later ones".
    std::string text() const;

  private:
    struct Armed {
        explicit Armed(const Attempt& attempt);
        ~Armed();
        Armed(const Armed&) = delete;
        Armed& operator=(const Armed&) = delete;
    };

    long nth_;
    bool onward_;
    Refused who_;
};

constexpr int out_of_memory = 77;  // the exit status of a child that ended by std::bad_alloc

// Runs an operation that forks, refusing. A child that comes back from it ends here, as every
// caller has to see to: with `out_of_memory`, or else with 1. True as Attempt::run's.
bool runRefused(const Attempt& attempt, const std::function<void()>& operation);

// Blocks of the heap in use by this process.
long liveBlocks();

// Empty when requests can be refused here, and else the reason why they cannot.
std::string whyRefusalFails();

// Runs `body` with each request refused, one at a time until none is reached, and then once
// more with all later ones refused, too. No block may be left over by any run. Returns at the
// first failure.
template <class Body>
void forEveryRefusal(const Body& body, Refused who = Refused::caller) {
    if (const std::string reason = whyRefusalFails(); !reason.empty()) {
        GTEST_SKIP() << reason;
    }
    // Once with memory: what is made at its first use and kept is not a leak.
    Attempt unrefused(0, false, who);
    body(unrefused);
    for (const bool onward : {false, true}) {
        bool refused = true;
        long nth = 0;
        while (refused && !testing::Test::HasFailure()) {
            Attempt attempt(++nth, onward, who);
            SCOPED_TRACE(attempt.text());
            const long before = liveBlocks();
            body(attempt);
            EXPECT_EQ(liveBlocks(), before) << "blocks are left over";
            refused = attempt.refused();
        }
        EXPECT_GT(nth, 1) << "the operation asks for no memory";
    }
}

}  // namespace test
