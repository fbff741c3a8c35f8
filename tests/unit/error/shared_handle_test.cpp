#include "zarnic/error/shared_handle.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <type_traits>
#include <utility>

#include "tests/unit/error/live_blocks.h"

namespace {

using test::live_blocks;
using zarnic::SharedHandle;

// Tells by a counter that it was deleted.
struct Plain {
    explicit Plain(int& counter) : deletions(counter) {}
    ~Plain() { ++deletions; }
    Plain(const Plain&) = delete;
    Plain& operator=(const Plain&) = delete;

    int& deletions;
    int value = 7;
};

struct Base {
    virtual ~Base() = default;
};

struct Derived : Base {
    explicit Derived(int& counter) : member(counter) {}
    Plain member;
};

using Handle = SharedHandle<Plain>;

static_assert(!std::is_convertible_v<Plain*, Handle>, "taking ownership has to be visible");
static_assert(std::is_nothrow_copy_constructible_v<Handle>);
static_assert(std::is_nothrow_copy_assignable_v<Handle>);
static_assert(std::is_same_v<decltype(std::declval<Handle>().useCount()), int>);
static_assert(sizeof(Handle) == 2 * sizeof(void*), "an object and a separate count");

TEST(SharedHandle, OfNullCountsOneTooAndNullIsTheDefault) {
    for (const Handle& handle : {Handle(nullptr), Handle()}) {
        EXPECT_EQ(handle.useCount(), 1);
        EXPECT_EQ(handle.get(), nullptr);
    }
}

TEST(SharedHandle, GivesPlainPointerAccess) {
    int deletions = 0;
    auto* const object = new Plain(deletions);
    const Handle handle(object);
    EXPECT_EQ(handle.get(), object);
    handle->value = 8;
    EXPECT_EQ((*handle).value, 8);
    EXPECT_EQ(&*handle, object);
}

// --- all short sequences of operations on three handles, against the standard's own ---

class Handles {
  public:
    // 0 to 8 assign one handle to another or to itself, 9 to 11 assign a new object, 12 to 14
    // release, 15 to 17 make a copy that ends at once.
    void perform(int operation) {
        Handle& handle = handles_[operation % 3];
        std::shared_ptr<Plain>& expected = expected_[operation % 3];
        if (operation < 9) {
            EXPECT_EQ(&(handle = handles_[operation / 3]), &handle);
            expected = expected_[operation / 3];
        } else if (operation < 12) {
            handle = Handle(new Plain(deletions_));
            expected = std::make_shared<Plain>(expected_deletions_);
        } else if (operation < 15) {
            handle.release();
            expected.reset();
        } else {
            const Handle copy(handle);
            EXPECT_EQ(copy.get(), handle.get());
            EXPECT_EQ(copy.useCount(), std::shared_ptr(expected).use_count());
        }
    }

    void expectAsTheStandards() const {
        EXPECT_EQ(deletions_, expected_deletions_);
        for (int i = 0; i < 3; ++i) {
            EXPECT_EQ(handles_[i].useCount(), expected_[i].use_count());
            EXPECT_EQ(handles_[i].get() == nullptr, expected_[i] == nullptr);
            EXPECT_EQ(handles_[i].get() == handles_[0].get(), expected_[i] == expected_[0]);
        }
    }

  private:
    int deletions_ = 0;
    int expected_deletions_ = 0;
    Handle handles_[3] = {Handle(new Plain(deletions_)), Handle(new Plain(deletions_)),
                          Handle()};
    std::shared_ptr<Plain> expected_[3] = {
        std::make_shared<Plain>(expected_deletions_),
        std::make_shared<Plain>(expected_deletions_),
        std::shared_ptr<Plain>(static_cast<Plain*>(nullptr))};
};

TEST(SharedHandle, AllShortSequencesAreAsTheStandardsOwn) {
    for (int sequence = 0; sequence < 18 * 18 * 18 && !HasFailure(); ++sequence) {
        SCOPED_TRACE("sequence " + std::to_string(sequence));
        const long before = live_blocks;
        {
            Handles handles;
            for (const int operation : {sequence / 324, sequence / 18 % 18, sequence % 18}) {
                handles.perform(operation);
                handles.expectAsTheStandards();
            }
        }
        EXPECT_EQ(live_blocks, before);
    }
}

TEST(SharedHandle, DeletesThroughTheVirtualDestructor) {
    int deletions = 0;
    { const SharedHandle<Base> handle(new Derived(deletions)); }
    EXPECT_EQ(deletions, 1);
}

// Holds a way back to its own handle, as an object in a cycle would.
struct Reentrant {
    SharedHandle<Reentrant>* self = nullptr;
    int* deletions = nullptr;
    ~Reentrant() {
        ++*deletions;
        self->release();
    }
};

TEST(SharedHandle, ObjectThatReleasesItsOwnHandleIsDeletedOnce) {
    int deletions = 0;
    SharedHandle<Reentrant> handle(new Reentrant);
    handle->self = &handle;
    handle->deletions = &deletions;
    handle.release();
    EXPECT_EQ(deletions, 1);
}

}  // namespace
