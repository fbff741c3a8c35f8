// Runs one child program without a shell. The life of a run:
//
//   TEArgs args(el);                                            // arguments (exec_args.h)
//   args << "cat";
//   TExec cat(args);                                            // wrap
//   TExec attached = cat.fromText("3").toFile("/tmp/errors");   // attach (attachments.h)
//   TExecResult result = attached.run();                        // run
//
// The child is a copy of the caller, made by fork. Preparers run in it. An error before the
// program has started is thrown in the child, up its copy of the caller's stack: let the child
// end there. The runner itself never ends a process.
//
// Deliberately, the child keeps what is not attached: signals, umask, working directory,
// environment and open descriptors are the caller's.
//
// The copy takes longer the more memory the caller uses. Start programs before much memory is
// filled, or from a small helper process. One thread only, with or without a lock: the child
// allocates memory, and another thread may hold the allocator's lock at the fork.

#pragma once

#include <sys/types.h>

#include <cstdint>

#include "zarnic/sys/attachments.h"
#include "zarnic/sys/exec_args.h"
#include "zarnic/sys/prepare.h"

namespace zarnic::sys {

// The mode bits under their namespace names, for whole pipelines.
inline constexpr std::uint64_t fork_mode = 1;  // run the program in a forked child
inline constexpr std::uint64_t wait_mode = 2;  // wait for the child and report its exit code
inline constexpr std::uint64_t path_mode = 4;  // find the program through PATH (execvp)
inline constexpr std::uint64_t mode_mask = fork_mode | wait_mode | path_mode;

// For users of the library that refuse an argument list themselves; no operation raises it.
inline constexpr char bad_execute_arguments[] = "Bad execute arguments";

// What a run reports.
struct TExecResult {
    std::int32_t pid;   // the child; -1: a preparer declined an error; 0: nothing was to run
    std::int32_t code;  // its exit code; -1: ended by a signal; 0 also when nobody waited
};

// One program with its arguments, mode and preparer. Copies share arguments and preparer. A
// runner may be run again; a run changes only what its preparer changes.
class TExec : public TAttachments<TExec> {
  public:
    // The hooks of a run and their holder (prepare.h).
    using TPrepare = sys::TPrepare;
    using Preparer = sys::Preparer;

    // The mode bits, and the default mode: all three.
    static constexpr std::uint64_t fork_mode = sys::fork_mode;
    static constexpr std::uint64_t wait_mode = sys::wait_mode;
    static constexpr std::uint64_t path_mode = sys::path_mode;
    static constexpr std::uint64_t def_mode = fork_mode | wait_mode | path_mode;

    // A runner without a preparer. Throws std::bad_alloc, as the next one, with() and the
    // attachments do.
    explicit TExec(const TEArgs& args, std::uint64_t mode = def_mode);

    // A runner of no program, for a preparer that does the work itself (TFnCall): an empty
    // argument list and the default mode.
    explicit TExec(const Preparer& prepare);

    // The arguments, shared with the copies of this runner, and its own mode.
    const TEArgs& args() const noexcept { return args_; }
    std::uint64_t mode() const noexcept { return mode_; }

    // The preparer, shared with the copies of this runner; a handle of null when there is none.
    const Preparer& preparer() const noexcept { return prepare_; }

    // A copy with one more preparer, whose hooks run after those of the earlier ones. The named
    // attachments of TAttachments are built on it.
    [[nodiscard]] TExec with(const Preparer& prepare) const;

    // --- mode ---

    // A copy with the given mode.
    [[nodiscard]] TExec withMode(std::uint64_t mode) const;

    // A copy with the given bits toggled. Deliberately an exclusive or and not a clearing:
    // toggling twice gives the runner back.
    [[nodiscard]] TExec withModeToggled(std::uint64_t bits) const;

    // For preparers, from within a run: this runner's own mode, for this run and later ones.
    void setMode(std::uint64_t mode) noexcept { mode_ = mode; }

    // --- run ---

    // Forks, runs and waits as the mode says; without fork_mode the current process becomes
    // the program, in a pipeline or a capture too. An argument ends at its first NUL byte.
    // waitpid is called once: an interrupted wait is a TSysCallErr of EINTR. With path_mode the
    // C library hands a file that the kernel does not know, a text without "#!", to /bin/sh
    // (execvp(3)).
    //
    // Throws TSysCallErr when fork or waitpid fails; after the latter the child goes on and
    // is not reaped. In the child, or without fork_mode in this process itself, throws
    // TSysCallErr when the program cannot be started, and std::bad_alloc without memory for
    // its arguments. What the preparers throw passes through.
    TExecResult run();

  private:
    TExecResult forkAndRun();
    TExecResult finishInParent(pid_t pid);
    TExecResult becomeProgram();

    TEArgs args_;
    std::uint64_t mode_;
    Preparer prepare_;
};

}  // namespace zarnic::sys
