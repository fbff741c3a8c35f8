// Runs a function in a forked child in place of a program.
//
//   functionCall(body).run();   // returns at once; the child ends with exit(body())

#pragma once

#include <cstdlib>
#include <type_traits>

#include "zarnic/sys/exec.h"

namespace zarnic::sys {

// Calls F, copied in by value, with no arguments; its int result is the child's exit status.
template <class F>
class TFnCall : public TExec::TPrepare {
  public:
    // Copies the function, and throws what its copying throws.
    explicit TFnCall(const F& function) : function_(function) {}

    // Clears the runner's wait bit, for good: the function runs on as a detached child.
    void inParent(TExec& exec) override {
        exec.setMode(exec.mode() & mode_mask & ~TExec::wait_mode);
    }

    // Never returns, so the exec that would follow is never reached. Without fork_mode the
    // process itself ends here. The exit status is the function's result, the error number of a
    // TSysCallErr, or 255 after any other exception.
    //
    // Deliberately exit and not _exit: the function may have used standard output, and the
    // program's exit handlers are part of its end. Flush stdout before the run: what its buffer
    // holds at the fork is written by the child too. Call fflush(stdin) as well when the caller
    // reads its input by stdio: exit in the child moves the position of a file (preparers.h).
    void beforeExec(TExec& /*exec*/) override { std::exit(call()); }

  private:
    int call() {
        try {
            return function_();
        } catch (const TSysCallErr& error) {
            return error.error();
        } catch (...) {
            return -1;
        }
    }

    F function_;
};

// A runner of a function in place of a program: TFnCall attached to no arguments, in the
// default mode. Throws std::bad_alloc and what copying the function throws.
template <class F>
requires std::is_invocable_r_v<int, F&>
[[nodiscard]] TExec functionCall(F function) {
    return TExec(TExec::Preparer(new TFnCall<F>(function)));
}

}  // namespace zarnic::sys
