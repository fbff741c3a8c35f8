// What runs in a child between fork and exec. The preparers' inChild hooks are defined in
// after_fork.cpp too, so that all such code stands in one file; only TFnCall, a template, has
// its part in its own header, and TUnionPrep hands its hooks on from preparers.cpp.
//
// The process has a single thread, so the child may use the heap: no other thread can have
// been forked away while it held the allocator's lock. Were a thread ever added, everything
// here would have to be prepared before fork instead.

#pragma once

#include "zarnic/sys/exec_args.h"

namespace zarnic::sys {

// Becomes the program args.at(0), found through PATH (execvp) or as a path (execv). Returns
// only on failure, with errno as the exec left it. An empty list fails as the empty file name
// does, with ENOENT. Throws std::bad_alloc.
int execProgram(const TEArgs& args, bool searchPath);

}  // namespace zarnic::sys
