#include "zarnic/error/shared_handle.h"

#include <gtest/gtest.h>

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

TEST(SharedHandle, OfAPointerCountsOne) {
    int deletions = 0;
    auto* const object = new Plain(deletions);
    const Handle handle(object);
    EXPECT_EQ(handle.useCount(), 1);
    EXPECT_EQ(handle.get(), object);
}

TEST(SharedHandle, OfNullCountsOneTooAndNullIsTheDefault) {
    const Handle handle(nullptr);
    EXPECT_EQ(handle.useCount(), 1);
    EXPECT_EQ(handle.get(), nullptr);
    const Handle byDefault;
    EXPECT_EQ(byDefault.useCount(), 1);
    EXPECT_EQ(byDefault.get(), nullptr);
}

TEST(SharedHandle, GivesPlainPointerAccess) {
    int deletions = 0;
    const Handle handle(new Plain(deletions));
    handle->value = 8;
    EXPECT_EQ((*handle).value, 8);
    EXPECT_EQ(&*handle, handle.get());
}

TEST(SharedHandle, CopySharesObjectAndCount) {
    int deletions = 0;
    const Handle first(new Plain(deletions));
    const long before = live_blocks;
    const Handle second(first);
    const Handle third(second);
    EXPECT_EQ(live_blocks, before);
    EXPECT_EQ(third.get(), first.get());
    EXPECT_EQ(first.useCount(), 3);
    EXPECT_EQ(second.useCount(), 3);
    EXPECT_EQ(third.useCount(), 3);
}

TEST(SharedHandle, EndOfACopyTakesOneOffTheCountAndKeepsTheObject) {
    int deletions = 0;
    const Handle first(new Plain(deletions));
    { const Handle second(first); }
    EXPECT_EQ(first.useCount(), 1);
    EXPECT_EQ(deletions, 0);
}

TEST(SharedHandle, LastEndDeletesObjectAndCountOnce) {
    int deletions = 0;
    const long before = live_blocks;
    {
        const Handle first(new Plain(deletions));
        const Handle second(first);
    }
    EXPECT_EQ(deletions, 1);
    EXPECT_EQ(live_blocks, before);
}

TEST(SharedHandle, DeletesThroughTheVirtualDestructor) {
    int deletions = 0;
    { const SharedHandle<Base> handle(new Derived(deletions)); }
    EXPECT_EQ(deletions, 1);
}

TEST(SharedHandle, ReleaseGivesUpTheShareAtOnce) {
    int deletions = 0;
    const Handle first(new Plain(deletions));
    Handle second(first);
    second.release();
    EXPECT_EQ(first.useCount(), 1);
    EXPECT_EQ(second.useCount(), 0);
    EXPECT_EQ(second.get(), nullptr);
    EXPECT_EQ(deletions, 0);
}

TEST(SharedHandle, LastReleaseDeletesBeforeTheHandleEnds) {
    int deletions = 0;
    const long before = live_blocks;
    Handle handle(new Plain(deletions));
    handle.release();
    EXPECT_EQ(deletions, 1);
    EXPECT_EQ(live_blocks, before);
}

TEST(SharedHandle, SecondReleaseDoesNothing) {
    int deletions = 0;
    const Handle first(new Plain(deletions));
    Handle second(first);
    second.release();
    second.release();
    EXPECT_EQ(first.useCount(), 1);
    EXPECT_EQ(deletions, 0);
}

TEST(SharedHandle, CopyOfAReleasedHandleHoldsNothing) {
    int deletions = 0;
    Handle released(new Plain(deletions));
    released.release();
    const Handle copy(released);
    EXPECT_EQ(copy.useCount(), 0);
    EXPECT_EQ(copy.get(), nullptr);
}

TEST(SharedHandle, AssignmentSharesTheNewObjectAndFreesTheFormer) {
    int deletions = 0;
    int formerDeletions = 0;
    const Handle source(new Plain(deletions));
    const long before = live_blocks;
    Handle target(new Plain(formerDeletions));
    Handle& result = (target = source);
    EXPECT_EQ(&result, &target);
    EXPECT_EQ(target.get(), source.get());
    EXPECT_EQ(source.useCount(), 2);
    EXPECT_EQ(formerDeletions, 1);
    EXPECT_EQ(live_blocks, before);
}

TEST(SharedHandle, AssignmentKeepsAFormerObjectThatIsStillShared) {
    int deletions = 0;
    int formerDeletions = 0;
    const Handle source(new Plain(deletions));
    const Handle former(new Plain(formerDeletions));
    Handle target(former);
    target = source;
    EXPECT_EQ(former.useCount(), 1);
    EXPECT_EQ(formerDeletions, 0);
}

TEST(SharedHandle, AssignmentToItselfChangesNothing) {
    int deletions = 0;
    Handle handle(new Plain(deletions));
    const Handle& itself = handle;
    handle = itself;
    EXPECT_EQ(handle.useCount(), 1);
    EXPECT_EQ(handle->value, 7);
    EXPECT_EQ(deletions, 0);
}

TEST(SharedHandle, AssignmentOfAReleasedHandleEmptiesTheTarget) {
    int deletions = 0;
    Handle released;
    released.release();
    Handle target(new Plain(deletions));
    target = released;
    EXPECT_EQ(target.useCount(), 0);
    EXPECT_EQ(deletions, 1);
}

TEST(SharedHandle, ReleasedHandleCanBeAssignedAgain) {
    int deletions = 0;
    const Handle source(new Plain(deletions));
    Handle target;
    target.release();
    target = source;
    EXPECT_EQ(target.get(), source.get());
    EXPECT_EQ(source.useCount(), 2);
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
