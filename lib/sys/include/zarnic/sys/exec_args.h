// The argument vector of a child program: an ordered list of strings whose first element is the
// program path or name.
//
//   TEArgs copy(el);
//   copy << "cp" << source << target;
//   TEArgs list = el + "ls" + folder;      // the same in an expression
//
// Elements are stored exactly as given: no quoting, no splitting on blanks, no expansion.
// Copies are cheap: they share their elements until one of them is changed.

#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "zarnic/error/error.h"

namespace zarnic::sys {

// A copyable handle on one argument list. Copies share the elements, copy-on-write.
class TEArgs {
  public:
    // The most elements that a list may hold, the program path included.
    static constexpr std::size_t max_size = 100;

    // What the operations below throw.
    class TEArgsError;
    class TOverflow;
    class TOutOfRange;

    // An empty list with room for 10 elements. Throws std::bad_alloc, as every operation that
    // adds does.
    TEArgs();

    // Appends one element; calls are chained in argv order. Throws TOverflow when the list is
    // full, and leaves the list as it was after any error. `argument` must not be null.
    TEArgs& operator<<(const std::string& argument);
    TEArgs& operator<<(const char* argument);

    // Appends every element of another list, which may be this one (then it doubles). Throws
    // TOverflow when both together hold more than max_size elements, and leaves the list as it
    // was after any error.
    TEArgs& append(TEArgs other);

    // Copy-and-add: a new list with one more element; this one is untouched. Throws TOverflow.
    TEArgs operator+(const std::string& argument) const;
    TEArgs operator+(const char* argument) const;

    // The number of elements, the program path included.
    std::size_t size() const noexcept;

    // The element at `index`, valid until the list is changed. Throws TOutOfRange.
    const std::string& at(std::size_t index) const;

    // All elements, valid until the list is changed.
    const std::vector<std::string>& elements() const noexcept;

  private:
    void requireRoom(std::size_t added) const;
    void detach(std::size_t added);

    SharedHandle<std::vector<std::string>> elements_;
};

// The empty list that argument vectors are started from. Never changed: adding to a copy of it
// detaches the copy. Made before all static objects of the usual priority, in any file, and
// destroyed after them: they may be made with its help. Hidden: a program and a shared library
// that both link the archive have one each, and neither makes or destroys the other's.
[[gnu::visibility("hidden")]] extern const TEArgs el;

// Base of the errors about one list, of which it keeps a shared copy.
class TEArgs::TEArgsError : public TSysErr {
  public:
    // The list concerned, as it was when the error was raised.
    TEArgsError(const std::string& message, const TEArgs& args);
    const TEArgs& args() const noexcept { return args_; }

  private:
    TEArgs args_;
};

// The list would become longer than max_size. The counts are in the message.
class TEArgs::TOverflow : public TEArgsError {
  public:
    // `added` is the number of elements that were refused.
    TOverflow(const TEArgs& args, std::size_t added);
};

// An index that names no element: "Wrong index (index = 7)".
class TEArgs::TOutOfRange : public TEArgsError {
  public:
    // The offending index.
    TOutOfRange(const TEArgs& args, std::size_t index);
    std::size_t index() const noexcept { return index_; }

  private:
    std::size_t index_;
};

}  // namespace zarnic::sys
