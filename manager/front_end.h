// The program: finds the command that the command line names and runs it.

#pragma once

// Runs one invocation and returns the exit status: 0 when a command succeeded or none was
// given, 1 after any error, which is written as one line to standard output. Throws only
// std::bad_alloc from creating the option parser.
//
// Other processes than the calling one may return from it. A daemon start ends the calling
// process with exit(0) and returns in the detached one. A child whose program cannot be started
// returns its own status 1. So code after the call may run in each of these.
int runCommandLine(int argc, const char* const* argv);
