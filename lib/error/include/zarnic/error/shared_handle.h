// The reference-counted holder behind every shared object of the libraries.
//
//   SharedHandle<Parsed> a(new Parsed);   // count 1
//   SharedHandle<Parsed> b(a);            // the same object, count 2
//   b->field;                             // plain pointer access
//   b.release();                          // count 1, before b's own end
//
// A handle is a raw pointer and a separately allocated plain `int`. Not std::shared_ptr: its
// count may be atomic, which nobody needs here, since the libraries are single-threaded by
// design. For the same reason a handle must never be shared between threads.

#pragma once

#include <memory>
#include <utility>

#include "zarnic/error/language.h"

namespace zarnic {

// Shares ownership of one heap-held T. T may be a base class of the object. It then needs a
// virtual destructor, because the object is deleted as a T.
template <class T>
class SharedHandle {
  public:
    // Takes ownership of `object` (null is allowed) with a count of 1. Throws std::bad_alloc
    // when there is no memory for the count; `object` is deleted then, not leaked.
    explicit SharedHandle(T* object = nullptr) : object_(object) {
        std::unique_ptr<T> guard(object);
        count_ = new int(1);
        static_cast<void>(guard.release());
    }

    // Shares the object of `other`: one more on its count.
    SharedHandle(const SharedHandle& other) noexcept
        : object_(other.object_), count_(other.count_) {
        if (count_ != nullptr) {
            ++*count_;
        }
    }

    // Gives up this handle's share and takes one of the object of `other`. Safe on itself: the
    // parameter has its share before anything is given up.
    SharedHandle& operator=(SharedHandle other) noexcept {
        std::swap(object_, other.object_);
        std::swap(count_, other.count_);
        return *this;
    }

    // Gives up this handle's share, as release().
    ~SharedHandle() { release(); }

    // Gives up this handle's share now instead of at its end; the last share deletes the
    // object and the count. Afterwards get() is null and the handle holds nothing.
    void release() noexcept {
        T* const object = std::exchange(object_, nullptr);
        int* const count = std::exchange(count_, nullptr);
        if (count != nullptr && --*count == 0) {
            delete object;
            delete count;
        }
    }

    // The object; null for a handle of null and after release(). The two operators need an
    // object. A const handle gives access to a T that is not const, as a pointer does.
    T* get() const noexcept { return object_; }
    T& operator*() const noexcept { return *object_; }
    T* operator->() const noexcept { return object_; }

    // Number of handles on the object, this one included; 0 after release().
    int useCount() const noexcept { return count_ == nullptr ? 0 : *count_; }

  private:
    T* object_;
    int* count_ = nullptr;
};

}  // namespace zarnic
