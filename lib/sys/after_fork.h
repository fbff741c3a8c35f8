// The steps that run in a child between fork and exec. The hooks in preparers.cpp and the
// runner in exec.cpp are made of them.
//
// The process has a single thread, so the child may use the heap: no other thread can have
// been forked away while it held the allocator's lock. Were a thread ever added, everything
// here would have to be prepared before fork instead.
//
// The order of the calls is fixed: a target is closed before it is replaced, so that a failed
// open leaves it closed. Deliberately, no result of open, close or dup2 is tested: a child
// whose stream could not be redirected runs with that stream closed, and the program itself
// says what it thinks of that.

#pragma once

#include <string>

#include "zarnic/sys/exec_args.h"
#include "zarnic/sys/pipe.h"

namespace zarnic::sys {

// Opens a file for writing, created with mode 0664 less the umask; appended to or truncated.
// Returns the descriptor, or -1.
int openForWriting(const std::string& path, bool append);

// Makes `target` a copy of `opened`, and closes `opened`. With -1 the target ends up closed.
void replaceDescriptor(int target, int opened);

// Makes `target` a copy of one end of the pipe, and closes both ends themselves.
void replaceByReadEnd(int target, const TPipe& pipe);
void replaceByWriteEnd(int target, const TPipe& pipe);

// Makes standard input a pipe from which the text is read. A writer process, forked here and
// waited for by nobody, writes the text and ends with exit(0), whatever becomes of the write.
// Throws TSysCallErr when pipe or fork fails; after the latter the pipe stays open.
void feedText(const std::string& text);

// Becomes the program args.at(0), found through PATH (execvp) or as a path (execv). Returns
// only on failure, with the error number that exec left in errno. An empty list fails as an
// empty file name does, with ENOENT. Throws std::bad_alloc.
int execProgram(const TEArgs& args, bool searchPath);

}  // namespace zarnic::sys
