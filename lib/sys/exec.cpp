#include "zarnic/sys/exec.h"

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <memory>
#include <vector>

#include "zarnic/sys/preparers.h"
#include "zarnic/sys/wait.h"

namespace zarnic::sys {

namespace {

std::unique_ptr<char[]> copyArgument(const std::string& argument) {
    std::unique_ptr<char[]> copy(new char[argument.size() + 1]);
    std::copy_n(argument.c_str(), argument.size() + 1, copy.get());
    return copy;
}

// Returns only on failure, with the error number that exec left in errno.
int execProgram(const TEArgs& args, bool searchPath) {
    // Copies, because exec takes writable characters. `copies` frees them when exec fails: the
    // error goes up through the caller then, who may go on for long.
    std::vector<std::unique_ptr<char[]>> copies;
    std::vector<char*> argv;
    copies.reserve(args.size());
    argv.reserve(args.size() + 1);
    for (const std::string& argument : args.elements()) {
        copies.push_back(copyArgument(argument));
        argv.push_back(copies.back().get());
    }
    argv.push_back(nullptr);
    // An empty name is ENOENT for exec. A null pointer would be undefined.
    const char* const file = copies.empty() ? "" : argv[0];
    if (searchPath) {
        ::execvp(file, argv.data());
    } else {
        ::execv(file, argv.data());
    }
    // Into a constant before the copies are freed, which may change errno.
    const int error = errno;
    return error;
}

}  // namespace

TExec::TExec(const TEArgs& args, std::uint64_t mode) : args_(args), mode_(mode) {}

TExec::TExec(const Preparer& prepare) : mode_(def_mode), prepare_(prepare) {}

// The earlier preparer comes first in the union, so the hooks run in the order of attachment.
TExec TExec::with(const Preparer& prepare) const {
    TExec copy(*this);
    copy.prepare_ =
        prepare_.get() == nullptr ? prepare : Preparer(new TUnionPrep(prepare_, prepare));
    return copy;
}

TExec TExec::withMode(std::uint64_t mode) const {
    TExec copy(*this);
    copy.mode_ = mode;
    return copy;
}

// Deliberately an exclusive or: toggling twice gives the runner back.
TExec TExec::withModeToggled(std::uint64_t bits) const { return withMode(mode_ ^ bits); }

TExecResult TExec::run() {
    if ((mode_ & fork_mode) != 0) {
        return forkAndRun();
    }
    if (prepare_.get() != nullptr) {
        prepare_->beforeExec(*this);
    }
    return becomeProgram();
}

TExecResult TExec::forkAndRun() {
    TPrepare* const prepare = prepare_.get();
    if (prepare != nullptr) {
        prepare->beforeFork(*this);
    }
    const pid_t pid = ::fork();
    if (pid < 0) {
        // Before the hook, which may change it.
        const int error = errno;
        if (prepare != nullptr && !prepare->forkFailed(*this)) {
            return {-1, 0};
        }
        throw TSysCallErr(error);
    }
    if (pid > 0) {
        return finishInParent(pid);
    }
    // The child. What is thrown from here on goes up its own copy of the caller's stack.
    if (prepare != nullptr) {
        prepare->inChild(*this);
        prepare->beforeExec(*this);
    }
    return becomeProgram();
}

TExecResult TExec::finishInParent(pid_t pid) {
    // Before the mode is looked at: the hook may clear the wait bit, as TFnCall does.
    if (prepare_.get() != nullptr) {
        prepare_->inParent(*this);
    }
    if ((mode_ & wait_mode) == 0) {
        return {pid, 0};
    }
    int status = 0;
    // Deliberately once: an interrupted wait is an error for the caller to see, not a reason
    // to wait on without its knowledge. So is the ECHILD that a caller gets who ignores
    // SIGCHLD, although the child has ended by then. waitChild forgives both.
    if (::waitpid(pid, &status, 0) < 0) {
        const int error = errno;
        throw TSysCallErr(error);
    }
    return {pid, exitedNormally(status) ? exitCode(status) : -1};
}

TExecResult TExec::becomeProgram() {
    const int error = execProgram(args_, (mode_ & path_mode) != 0);
    if (prepare_.get() != nullptr && !prepare_->execFailed(*this)) {
        return {-1, 0};
    }
    throw TSysCallErr(error);
}

}  // namespace zarnic::sys
