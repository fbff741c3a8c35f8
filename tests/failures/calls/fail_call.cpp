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
// returns the old end of memory. With 1:CALL,CALL:K+ something is used up: from the K-th call
// of these names on all of them fail, in every process. What a process has called before a fork
// counts for its child, too.
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
#include <optional>
#include <regex>
#include <set>
#include <string>
#include <vector>

#include "tests/failures/calls/calls.h"

namespace {

struct Fault {
    std::string process;
    std::string calls;  // between commas
    int k;
    bool used_up;
    int error;
};

// What is known of a process between two of its stops.
struct Process {
    std::string name;
    int births = 0;
    bool entered = false;
    Called call;
    std::map<std::string, int> made;
    std::map<std::string, int> since_first;  // with those that it comes from, until their forks
    bool skipped = false;                    // the call is not made
    bool chosen = false;                     // it fails by a Fault
    std::optional<long long> result;         // in place of the call's own
    long long memory_end = 0;
};

std::FILE* log_file;
pid_t may_be_signalled;
std::vector<Fault> faults;
std::map<pid_t, Process> processes;
std::set<pid_t> unborn;  // their first stop came before the news of their birth

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

Fault parseFault(const std::string& text) {
    static const std::regex form(R"(--fail=([\d.]+):([\w,-]+):(\d+)(\+?):(\d+))");
    std::smatch part;
    if (!std::regex_match(text, part, form)) {
        std::fprintf(stderr, "fail_call: not PROCESS:CALL:K:ERROR: %s\n", text.c_str());
        std::exit(125);
    }
    return {part.str(1), ',' + part.str(2) + ',', std::stoi(part.str(3)), part.length(4) != 0,
            std::stoi(part.str(5))};
}

bool concerns(const Fault& fault, const std::string& call) {
    return fault.calls.find(',' + call + ',') != std::string::npos;
}

bool hits(const Fault& fault, const Process& process) {
    if (!concerns(fault, process.call.name)) {
        return false;
    }
    if (!fault.used_up) {
        return fault.process == process.name && fault.k == process.made.at(process.call.name);
    }
    int made = 0;
    for (const auto& [call, count] : process.since_first) {
        made += concerns(fault, call) ? count : 0;
    }
    return made >= fault.k;
}

// Decides about the call that the process has entered: whether it is made, and its result.
void choose(Process& process) {
    process.chosen = false;
    process.result.reset();
    if (process.call.name == "sleep") {
        process.result = 0;
    } else if (process.call.name == "kill" &&
               std::stoi(process.call.subject) != may_be_signalled) {
        process.result = -ESRCH;
    }
    process.skipped = process.result.has_value();
    for (const Fault& fault : faults) {
        if (hits(fault, process)) {
            process.skipped = process.call.name != "close";
            process.chosen = true;
            process.result = process.call.name == "brk" ? process.memory_end : -fault.error;
        }
    }
}

void enter(pid_t pid, Process& process, const __ptrace_syscall_info& info) {
    process.entered = true;
    process.call = called(pid, info.entry.nr, info.entry.args);
    ++process.made[process.call.name];
    ++process.since_first[process.call.name];
    choose(process);
    if (process.skipped) {
        setRegister(pid, &user_regs_struct::orig_rax, -1);
    }
}

// A call that a signal interrupted is made again by the kernel and is one call.
bool isRestarted(long long result) { return result <= -512 && result >= -516; }

void leave(pid_t pid, Process& process, long long result) {
    process.entered = false;
    if (process.result) {
        setRegister(pid, &user_regs_struct::rax, *process.result);
        result = *process.result;
    } else if (isRestarted(result)) {
        --process.made[process.call.name];
        --process.since_first[process.call.name];
        return;
    }
    if (process.call.name.starts_with("brk")) {
        process.memory_end = result;
    }
    note(process, process.call.name + ' ' + std::to_string(process.made[process.call.name]) +
                      (process.chosen ? " !" : " ") + std::to_string(result) + ' ' +
                      process.call.subject);
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

void resume(pid_t pid, int signal) { ::ptrace(PTRACE_SYSCALL, pid, nullptr, signal); }

void born(Process& parent, pid_t pid) {
    if (unborn.erase(pid) == 0) {
        ::waitpid(pid, nullptr, __WALL);
    }
    Process& child = processes[pid];
    child.name = parent.name + '.' + std::to_string(++parent.births);
    child.memory_end = parent.memory_end;
    child.since_first = parent.since_first;
    resume(pid, 0);
}

void atEvent(pid_t pid, Process& process, int event) {
    if (event == PTRACE_EVENT_EXEC && process.entered) {
        note(process, "became " + process.call.subject);
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
    const auto found = processes.find(pid);
    if (found == processes.end()) {
        unborn.insert(pid);
        return;
    }
    Process& process = found->second;
    if (WIFEXITED(status) || WIFSIGNALED(status)) {
        note(process, WIFEXITED(status) ? "exited " + std::to_string(WEXITSTATUS(status))
                                        : "died " + std::to_string(WTERMSIG(status)));
        processes.erase(pid);
    } else if (status >> 16 != 0) {
        atEvent(pid, process, status >> 16);
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
    ::ptrace(PTRACE_CONT, pid, nullptr, nullptr);
}

}  // namespace

int main(int argc, char** argv) {
    int at = 3;
    for (; at < argc && std::string(argv[at]).starts_with("--fail="); ++at) {
        faults.push_back(parseFault(argv[at]));
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
