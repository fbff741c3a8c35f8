#include "zarnic/opt/parsing.h"

#include <algorithm>
#include <exception>

namespace zarnic::opt {

namespace {

// Lists and not sets: a command claims a handful of options, and a search among so few is
// faster than a set that allocates for each.
template <class Entry>
bool isClaimed(const std::vector<const Entry*>& claimed, const Entry* entry) {
    return std::find(claimed.begin(), claimed.end(), entry) != claimed.end();
}

// Once only, because examine() compares counts.
template <class Entry>
void claim(std::vector<const Entry*>& claimed, const Entry* entry) {
    if (!isClaimed(claimed, entry)) {
        claimed.push_back(entry);
    }
}

bool suits(const std::string& value, int kind) {
    return kind == no_arg ? value.empty() : kind != req_arg || !value.empty();
}

}  // namespace

TOParsing::TOParsing(const char* const* argv, int argc)
    : state_(new State(TOpts(argv, argc))) {}

TOParsing::TResult TOParsing::lopt(const std::string& name, int kind) {
    State& state = *state_;
    state.bits = goodbit;
    const TOpts::LongEntry* entry = state.options.findLong(name);
    if (entry == nullptr) {
        state.missingLong = name;
        state.missedLong = true;
        state.bits |= nobit;
    } else if (!suits(entry->value, kind)) {
        // Found, but neither claimed nor answered: clear() may still claim it.
        state.bits |= badbit;
        state.bad = entry;
        entry = nullptr;
    } else {
        claim(state.claimedLong, entry);
    }
    return makeResult(nullptr, entry);
}

TOParsing::TResult TOParsing::sopt(char letter) {
    State& state = *state_;
    state.bits = goodbit;
    const TOpts::ShortEntry* const entry = state.options.findShort(letter);
    if (entry == nullptr) {
        state.missingShort = letter;
        state.missedLong = false;
        state.bits |= nobit;
    } else {
        claim(state.claimedShort, entry);
    }
    return makeResult(entry, nullptr);
}

// The result gets a parser of its own, on which nothing was asked: its release finds nothing to
// check. That parser is made first, so that a lack of memory leaves the option unclaimed.
TOParsing::TResult TOParsing::optionalLong(const std::string& name, int kind) {
    const TOParsing own(options());
    const TOpts::LongEntry* const entry = options().findLong(name);
    state_->examined = false;
    if (entry != nullptr) {
        claim(state_->claimedLong, entry);
    }
    return {nullptr, entry != nullptr && suits(entry->value, kind) ? entry : nullptr, own};
}

TOParsing::TResult TOParsing::optionalShort(char letter) {
    const TOParsing own(options());
    const TOpts::ShortEntry* const entry = options().findShort(letter);
    state_->examined = false;
    if (entry != nullptr) {
        claim(state_->claimedShort, entry);
    }
    return {entry, nullptr, own};
}

TOParsing::TResult TOParsing::makeResult(const TOpts::ShortEntry* shortEntry,
                                         const TOpts::LongEntry* longEntry) {
    state_->pending = true;
    state_->examined = false;
    return {shortEntry, longEntry, *this};
}

void TOParsing::clear() {
    State& state = *state_;
    const bool unsuitable = state.pending && (state.bits & badbit) != 0;
    state.bits = goodbit;
    if (unsuitable) {
        claim(state.claimedLong, state.bad);
    }
}

// Runs the pending check. Before a throw it releases `handle`, so that the state of a last
// handle is gone when the error is thrown: this is the interface. `state` dangles from there
// on, so what the error needs is copied out first.
void TOParsing::raisePending(TOParsing& handle) {
    State& state = *handle.state_;
    if (!state.pending) {
        return;
    }
    // Before the throw: each query is checked once, whichever result or check() comes first.
    state.pending = false;
    if (state.raises(nobit)) {
        const bool isLong = state.missedLong;
        const char letter = state.missingShort;
        const std::string name = isLong ? state.missingLong : std::string();
        handle.state_.release();
        if (isLong) {
            throw TNoLOpt(name);
        }
        throw TNoSOpt(letter);
    }
    if (state.raises(badbit)) {
        // The entry belongs to the command line, which this handle keeps alive.
        const TOpts options = state.options;
        const TOpts::LongEntry& entry = *state.bad;
        handle.state_.release();
        throw TBadLOpt(options, entry);
    }
}

void TOParsing::check() {
    // The latest query counts as unchecked again: a caller that swallowed its error must not
    // get past the final check.
    state_->pending = true;
    // A copy, because raisePending releases the handle that it is given.
    TOParsing latest(*this);
    raisePending(latest);
    if (!state_->examined) {
        examine();
    }
    // After a failure the claims stay, so that a second check() fails in the same way.
    state_->claimedShort.clear();
    state_->claimedLong.clear();
    state_->bits = goodbit;
    state_->examined = true;
}

// Raises the first unclaimed option. Only options that are present are ever claimed, and each
// once, so equal counts mean that all were claimed.
void TOParsing::examine() const {
    const State& state = *state_;
    if ((state.mask & unknbit) == 0) {
        return;
    }
    if (state.options.shortOptions().size() != state.claimedShort.size()) {
        for (const auto& [letter, entry] : state.options.shortOptions()) {
            if (!isClaimed(state.claimedShort, &entry)) {
                throw TUnknSOpt(state.options, entry);
            }
        }
    }
    if (state.options.longOptions().size() != state.claimedLong.size()) {
        for (const auto& [name, entry] : state.options.longOptions()) {
            if (!isClaimed(state.claimedLong, &entry)) {
                throw TUnknLOpt(state.options, entry);
            }
        }
    }
}

std::uint64_t TOParsing::state() const noexcept { return state_->bits; }

std::uint64_t TOParsing::exceptions() const noexcept { return state_->mask; }

void TOParsing::exceptions(std::uint64_t mask) noexcept { state_->mask = mask; }

const TOpts& TOParsing::options() const noexcept { return state_->options; }

// NOLINTNEXTLINE(bugprone-exception-escape): the check at release is what results are for
TOParsing::TResult::~TResult() noexcept(false) {
    // A second exception during unwinding would end the process. The front end keeps its
    // results until dispatch ends, so the error of each failing command unwinds past them.
    if (std::uncaught_exceptions() > 0) {
        parser_.state_->pending = false;
        return;
    }
    raisePending(parser_);
}

const TOParsing::TResult& TOParsing::TResult::operator>>(std::string& target) const {
    if (longEntry_ != nullptr) {
        target = longEntry_->value;
    } else if (shortEntry_ != nullptr) {
        target.clear();
    }
    return *this;
}

}  // namespace zarnic::opt
