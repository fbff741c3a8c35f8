// A process under watch, and the failures that are chosen for it.

#pragma once

#include <sys/types.h>

#include <map>
#include <string>
#include <vector>

#include "tests/failures/calls/calls.h"

// The K-th `call` of `process` is to fail with `error`.
struct Fault {
    std::string process;
    std::string call;
    int k;
    int error;
};

// What is known of a process between two of its stops.
struct Process {
    std::string name;
    int births = 0;
    bool running = false;  // past the stop that a new process begins with
    bool entered = false;
    Call call;
    std::string callName;
    std::string subject;
    std::map<std::string, int> made;
    bool skipped = false;   // the call is not made
    bool replaced = false;  // the result is `result`, made or not
    bool chosen = false;    // by a Fault
    long long result = 0;
    long long memoryEnd = 0;
};

// Reads PROCESS:CALL:K:ERROR. Ends the program when it is not that.
Fault parseFault(const std::string& text);

// Whether the call that the process has entered takes memory.
bool usesMemory(const Process& process);

// Decides about the call that the process has entered: whether it is made, and its result.
// A signal is sent to `mayBeSignalled` only.
void choose(Process& process, const std::vector<Fault>& faults, pid_t mayBeSignalled);
