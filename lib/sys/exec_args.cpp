#include "zarnic/sys/exec_args.h"

#include <algorithm>
#include <memory>

namespace zarnic::sys {

namespace {

using Elements = std::vector<std::string>;

constexpr std::size_t initial_room = 10;

// No std::strings: a static object of another file may throw before they would be made.
constexpr char too_many[] = "The number of arguments has exceeded the defined limits";
constexpr char wrong_index[] = "Wrong index";

// Reserved before anything is inserted: the first additions to a list then do not move it.
Elements* makeElements(const Elements& source, std::size_t room) {
    auto made = std::make_unique<Elements>();
    made->reserve(std::max(room, initial_room));
    made->insert(made->end(), source.begin(), source.end());
    return made.release();
}

std::string overflowText(std::size_t count, std::size_t added) {
    return std::string(too_many) + " (arguments number = " + std::to_string(count) +
           ", add. arguments number = " + std::to_string(added) +
           ", max = " + std::to_string(TEArgs::max_size) + ")";
}

}  // namespace

// The first priority that the compiler does not keep for itself.
[[gnu::init_priority(101)]] const TEArgs el;

TEArgs::TEArgs() : elements_(makeElements({}, initial_room)) {}

TEArgs& TEArgs::operator<<(const std::string& argument) {
    requireRoom(1);
    detach(1);
    elements_->push_back(argument);
    return *this;
}

TEArgs& TEArgs::operator<<(const char* argument) {
    requireRoom(1);
    detach(1);
    elements_->emplace_back(argument);
    return *this;
}

// By value: appended to itself, the list shares its elements with the parameter and so
// detaches, and never inserts from the vector that it is growing.
TEArgs& TEArgs::append(TEArgs other) {
    requireRoom(other.size());
    detach(other.size());
    // First: an insertion that has to grow moves the old elements away before it copies the new
    // ones. When memory for a copy is refused, the old ones are lost.
    elements_->reserve(size() + other.size());
    elements_->insert(elements_->end(), other.elements().begin(), other.elements().end());
    return *this;
}

TEArgs TEArgs::operator+(const std::string& argument) const {
    TEArgs copy(*this);
    copy << argument;
    return copy;
}

TEArgs TEArgs::operator+(const char* argument) const {
    TEArgs copy(*this);
    copy << argument;
    return copy;
}

std::size_t TEArgs::size() const noexcept { return elements_->size(); }

const std::string& TEArgs::at(std::size_t index) const {
    if (index >= size()) {
        throw TOutOfRange(*this, index);
    }
    return (*elements_)[index];
}

const std::vector<std::string>& TEArgs::elements() const noexcept { return *elements_; }

// Before detach(), so that a refused addition changes nothing, not even the sharing.
void TEArgs::requireRoom(std::size_t added) const {
    if (added > max_size - size()) {
        throw TOverflow(*this, added);
    }
}

// Copy-on-write: a runner or an error that shares the elements keeps them as they are.
void TEArgs::detach(std::size_t added) {
    if (elements_.useCount() >= 2) {
        elements_ = SharedHandle<Elements>(makeElements(*elements_, size() + added));
    }
}

TEArgs::TEArgsError::TEArgsError(const std::string& message, const TEArgs& args)
    : TSysErr(message), args_(args) {}

TEArgs::TOverflow::TOverflow(const TEArgs& args, std::size_t added)
    : TEArgsError(overflowText(args.size(), added), args) {}

TEArgs::TOutOfRange::TOutOfRange(const TEArgs& args, std::size_t index)
    : TEArgsError(std::string(wrong_index) + " (index = " + std::to_string(index) + ")", args),
      index_(index) {}

}  // namespace zarnic::sys
