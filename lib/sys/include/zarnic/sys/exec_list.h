// A pipeline: programs whose standard output and input are chained by pipes.
//
// The default mode is for programs that print little: each one has ended before the next one
// starts. Without the wait bit they run side by side, for any amount of data:
//
//   TExecList pipeline = TExec(list) | TExec(sort) | TExec(count);
//   TExecResult last = runList(pipeline.withModeToggled(wait_mode));
//   int status = waitChild(last.pid);                       // wait.h
//
// Nobody waits for the other programs then: a caller that lives on reaps them by wait(2).
//
// To read what the last program prints, see output.h.

#pragma once

#include <cstddef>
#include <cstdint>
#include <list>

#include "zarnic/sys/exec.h"

namespace zarnic::sys {

// The programs in order, the first one being the start of the pipeline. Copies share the
// arguments and preparers of their programs. Run `list.withModeToggled(wait_mode)`: in the
// default mode a program that prints more than a pipe holds waits for ever for the next one to
// read.
class TExecList : public TAttachments<TExecList> {
  public:
    // A pipeline of no program, or of one; a single runner converts by itself.
    TExecList() = default;
    TExecList(const TExec& program);  // NOLINT(google-explicit-constructor): a one-element list

    // The programs, for whoever runs them or changes their modes.
    const std::list<TExec>& programs() const noexcept { return programs_; }
    std::list<TExec>& programs() noexcept { return programs_; }

    // The number of programs, and whether there is none.
    std::size_t size() const noexcept { return programs_.size(); }
    bool empty() const noexcept { return programs_.empty(); }

    // A copy whose last program, the output end, has one more preparer. A copy and nothing more
    // for an empty list.
    [[nodiscard]] TExecList with(const Preparer& prepare) const;

    // A copy whose programs all have the given bits toggled, each in its own mode (exec.h).
    [[nodiscard]] TExecList withModeToggled(std::uint64_t bits) const;

  private:
    std::list<TExec> programs_;
};

// The left side's programs followed by the right one, with a pipe between them that is made
// when they run. An empty left side gives the right one alone. Throws std::bad_alloc, as with()
// does, and leaves both sides as they were.
TExecList operator|(const TExecList& left, const TExec& right);

// Runs each program in list order and returns the last one's result; {0, 0} for an empty list.
// Each is run by TExec::run, so a program in wait mode is waited for before the next one
// starts. Such a program must not write more than a pipe holds (64 KiB on Linux, pipe(7)).
//
// Throws what TExec::run throws. Programs that run already then go on, and a pipe whose reader
// could not be forked stays open.
TExecResult runList(TExecList& list);
TExecResult runList(TExecList&& list);

}  // namespace zarnic::sys
