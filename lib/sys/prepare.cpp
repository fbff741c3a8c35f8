#include "zarnic/sys/prepare.h"

namespace zarnic::sys {

void TPrepare::beforeFork(TExec& /*exec*/) {}

bool TPrepare::forkFailed(TExec& /*exec*/) { return true; }

void TPrepare::inParent(TExec& /*exec*/) {}

void TPrepare::inChild(TExec& /*exec*/) {}

void TPrepare::beforeExec(TExec& /*exec*/) {}

bool TPrepare::execFailed(TExec& /*exec*/) { return true; }

}  // namespace zarnic::sys
