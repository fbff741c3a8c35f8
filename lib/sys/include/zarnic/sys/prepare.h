// The hooks of a run: what a preparer may do at six fixed points around fork, exec and wait.
//
//   class TNice : public TExec::TPrepare {
//     public:
//       void inChild(TExec& exec) override { ::nice(10); }
//   };
//
//   TExec::Preparer gentle(new TNice);
//   TExec(args).with(gentle).run();
//
// The library's own preparers are in preparers.h.

#pragma once

#include "zarnic/error/shared_handle.h"

namespace zarnic::sys {

class TExec;

// The hooks in the order of a run. Each gets the running TExec. A hook that is not overridden
// does nothing, and lets the runner throw. What a hook throws passes through TExec::run: in the
// process in which the hook runs, which for inChild is the child's copy of the caller.
class TPrepare {
  public:
    // Deleted through this class by the handles that share it.
    TPrepare() = default;
    TPrepare(const TPrepare&) = default;
    TPrepare& operator=(const TPrepare&) = default;
    virtual ~TPrepare() = default;

    // In the calling process before fork; only in fork mode.
    virtual void beforeFork(TExec& exec);

    // In the calling process after a failed fork. False makes run() return pid -1 and code 0
    // instead of throwing.
    virtual bool forkFailed(TExec& exec);

    // In the parent right after fork, before the mode decides whether it waits: the hook may
    // change the mode by setMode.
    virtual void inParent(TExec& exec);

    // In the child right after fork; only in fork mode.
    virtual void inChild(TExec& exec);

    // Just before exec: in the child, or in the process itself when not forking.
    virtual void beforeExec(TExec& exec);

    // In the process of beforeExec, after exec returned and so failed. False makes run() return
    // pid -1 and code 0 instead of throwing: in a forked child, to the child's copy of the
    // caller.
    virtual bool execFailed(TExec& exec);
};

// A preparer, shared by the runners that it is attached to. A handle of null stands for none.
using Preparer = SharedHandle<TPrepare>;

}  // namespace zarnic::sys
