// Captures what a program, or the last program of a pipeline, prints.
//
//   std::string text;
//   checkedOutput(text, TExec(TEArgs(el) << "cat" << path));

#pragma once

#include <string>

#include "zarnic/sys/exec_list.h"

namespace zarnic::sys {

// Runs the pipeline, none of its programs in wait mode, sets `out` to everything that the last
// program prints and `status` to its raw wait status. The other programs are not waited for. An
// interrupted or failed read ends the text. An empty list leaves both as they were.
//
// Throws TSysCallErr when a pipe or fork fails, what waitChild (wait.h) throws, and
// std::bad_alloc. A child whose program cannot be started throws out of here, too, what
// TExec::run throws in it. After an error `status` is untouched. `out` is untouched when
// nothing could be started, and holds what was read when the reading ran out of memory or the
// wait failed; the child is not reaped then.
//
// The pipe's read end deliberately stays open until the process ends; after a failed fork both
// ends do. Preparers of the last program cannot decline a failed fork or exec here: there would
// be nobody to end the text.
void readOutput(std::string& out, int& status, const TExecList& list);

// As readOutput, and throws std::runtime_error when the last program did not exit with 0:
//   "child failed (status=" RAW-STATUS "): " OUTPUT   ended by a signal, or only stopped
//   "child failed (exit code=" CODE "): " OUTPUT      exited with another code
// `out` holds the output after these too.
void checkedOutput(std::string& out, const TExecList& list);
void checkedOutput(std::string& out, const TExec& program);

}  // namespace zarnic::sys
