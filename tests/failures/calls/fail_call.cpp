// Runs a program and all the processes that it forks, notes each system call of each of them,
// and makes chosen calls fail:
//
//     fail_call LOG PID [--fail=PROCESS:CALL:K:ERROR]... PROGRAM [ARGUMENT...]
//
// Processes are named by their birth: the program is 1, its children are 1.1, 1.2 ..., theirs
// 1.1.1 and so on, so that a name means the same process in every run. A process that becomes
// another program is let go there: only calls of PROGRAM's own image are noted or fail. This is
// what strace cannot say: it counts the calls of each process alike and fails the k-th of all.
//
// The K-th CALL of PROCESS fails with ERROR (a number) and is not made. Two calls differ, as
// they do in the kernel: close gives the descriptor up and then reports, and a refused brk
// returns the old end of memory. CALL "memory" is any brk or mmap, and from the K-th on all of
// them fail, in the process and in those that it forks from then on: memory is used up.
//
// Sleeping returns at once. A signal is sent to process PID only; to any other, kill finds no
// process.
//
// LOG gets a line per event, of words: PROCESS CALL K RESULT SUBJECT for a call that returned,
// with "!" before the RESULT of one that was chosen to fail; PROCESS became PATH; PROCESS
// exited STATUS; PROCESS died SIGNAL.

#include <sys/ptrace.h>
#include <sys/user.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>
#include <vector>

#include "tests/failures/calls/process.h"

namespace {

std::FILE* log_file;
pid_t may_be_signalled;
std::vector<Fault> faults;
std::map<pid_t, Process> processes;

[[noreturn]] void giveUp(const char* what) {
    std::perror(what);
    std::exit(125);
}

void note(const Process& process, const std::string& event) {
    std::fprintf(log_file, "%s %s\n", process.name.c_str(), event.c_str());
}

using Register = unsigned long long user_regs_struct::*;

void setRegister(pid_t pid, Register which, long long value) {
    user_regs_struct registers;
    if (::ptrace(PTRACE_GETREGS, pid, nullptr, &registers) < 0) {
        giveUp("fail_call: registers");
    }
    registers.*which = static_cast<unsigned long long>(value);
    ::ptrace(PTRACE_SETREGS, pid, nullptr, &registers);
}

void enter(pid_t pid, Process& process, const __ptrace_syscall_info& info) {
    process.entered = true;
    process.call.number = info.entry.nr;
    for (int i = 0; i < 6; ++i) {
        process.call.arguments[i] = info.entry.args[i];
    }
    process.callName = nameOf(pid, process.call);
    process.subject = subjectOf(pid, process.call);
    ++process.made[process.callName];
    if (usesMemory(process)) {
        ++process.made["memory"];
    }
    choose(process, faults, may_be_signalled);
    if (process.skipped) {
        setRegister(pid, &user_regs_struct::orig_rax, -1);
    }
}

// A call that a signal interrupted is made again by the kernel and is one call.
bool isRestarted(long long result) { return result <= -512 && result >= -516; }

void leave(pid_t pid, Process& process, long long result) {
    process.entered = false;
    if (process.replaced) {
        setRegister(pid, &user_regs_struct::rax, process.result);
        result = process.result;
    } else if (isRestarted(result)) {
        --process.made[process.callName];
        return;
    }
    if (process.callName.starts_with("brk")) {
        process.memoryEnd = result;
    }
    note(process, process.callName + ' ' + std::to_string(process.made[process.callName]) +
                      (process.chosen ? " !" : " ") + std::to_string(result) + ' ' +
                      process.subject);
}

void atCall(pid_t pid, Process& process) {
    __ptrace_syscall_info info;
    if (::ptrace(PTRACE_GET_SYSCALL_INFO, pid, sizeof info, &info) < 0) {
        return;  // killed meanwhile
    }
    if (info.op == PTRACE_SYSCALL_INFO_ENTRY) {
        enter(pid, process, info);
    } else if (process.entered) {
        leave(pid, process, info.exit.rval);
    }
}

void born(Process& parent, pid_t pid) {
    Process& child = processes[pid];
    child.name = parent.name + '.' + std::to_string(++parent.births);
    child.memoryEnd = parent.memoryEnd;
    child.made["memory"] = parent.made["memory"];
    if (child.running) {  // its first stop came before this
        ::ptrace(PTRACE_SYSCALL, pid, nullptr, nullptr);
    }
}

void resume(pid_t pid, int signal) { ::ptrace(PTRACE_SYSCALL, pid, nullptr, signal); }

// The first stop of a process: the parent's news of its birth may still be on the way.
void firstStop(pid_t pid, Process& process) {
    process.running = true;
    if (!process.name.empty()) {
        resume(pid, 0);
    }
}

void atEvent(pid_t pid, Process& process, int event) {
    if (event == PTRACE_EVENT_EXEC && process.entered) {
        note(process, "became " + process.subject);
        processes.erase(pid);
        ::ptrace(PTRACE_DETACH, pid, nullptr, nullptr);
        return;
    }
    if (event == PTRACE_EVENT_FORK || event == PTRACE_EVENT_CLONE) {
        unsigned long child = 0;
        ::ptrace(PTRACE_GETEVENTMSG, pid, nullptr, &child);
        born(process, static_cast<pid_t>(child));
    }
    resume(pid, 0);
}

void handle(pid_t pid, int status) {
    Process& process = processes[pid];
    if (WIFEXITED(status) || WIFSIGNALED(status)) {
        note(process, WIFEXITED(status) ? "exited " + std::to_string(WEXITSTATUS(status))
                                        : "died " + std::to_string(WTERMSIG(status)));
        processes.erase(pid);
    } else if (status >> 16 != 0) {
        atEvent(pid, process, status >> 16);
    } else if (!process.running) {
        firstStop(pid, process);
    } else if (WSTOPSIG(status) == (SIGTRAP | 0x80)) {
        atCall(pid, process);
        resume(pid, 0);
    } else {
        resume(pid, WSTOPSIG(status));
    }
}

void start(char** argv) {
    const pid_t pid = ::fork();
    if (pid == 0) {
        ::ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
        ::raise(SIGSTOP);
        ::execv(argv[0], argv);
        ::_exit(125);
    }
    ::waitpid(pid, nullptr, 0);
    constexpr long options = PTRACE_O_TRACESYSGOOD | PTRACE_O_TRACEFORK | PTRACE_O_TRACECLONE |
                             PTRACE_O_TRACEEXEC | PTRACE_O_EXITKILL;
    if (::ptrace(PTRACE_SETOPTIONS, pid, nullptr, options) < 0) {
        giveUp("fail_call: ptrace");
    }
    processes[pid].name = "1";
    processes[pid].running = true;
    ::ptrace(PTRACE_CONT, pid, nullptr, nullptr);
}

}  // namespace

int main(int argc, char** argv) {
    int at = 3;
    for (; at < argc && std::string(argv[at]).starts_with("--fail="); ++at) {
        faults.push_back(parseFault(argv[at] + 7));
    }
    log_file = at < argc ? std::fopen(argv[1], "we") : nullptr;
    if (log_file == nullptr) {
        giveUp("fail_call: LOG PID [--fail=...] PROGRAM [ARGUMENT...]");
    }
    may_be_signalled = std::atoi(argv[2]);
    start(argv + at);
    while (!processes.empty()) {
        int status = 0;
        const pid_t pid = ::waitpid(-1, &status, __WALL);
        if (pid > 0) {
            handle(pid, status);
        } else if (errno != EINTR) {
            giveUp("fail_call: waitpid");
        }
    }
    return std::fclose(log_file) == 0 ? 0 : 125;
}
