#include "lib/sys/after_fork.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "zarnic/sys/preparers.h"

// The order of the calls below is fixed: each target is closed before it is replaced, so that a
// failed open leaves it closed. Deliberately, no result of open, close or dup2 is tested: a
// child whose stream could not be redirected runs with that stream closed, and the program
// itself says what it thinks of that.

namespace zarnic::sys {

// std::cout, by its symbol. <iostream>, the one header that declares it, would have every
// program that links this file bring up the stream library before main: a third of the start of
// a command that never needs it.
extern std::ostream standard_output __asm__("_ZSt4cout");

namespace {

constexpr mode_t new_file_mode = 0664;

int openForWriting(const std::string& path, bool append) {
    return ::open(path.c_str(), O_WRONLY | O_CREAT | (append ? O_APPEND : O_TRUNC),
                  new_file_mode);
}

// Makes `opened` the descriptor `target` and gives up the first number.
void replace(int target, int opened) {
    ::close(target);
    ::dup2(opened, target);
    ::close(opened);
}

// Makes one end of a pipe the descriptor `target`, and closes both numbers of the pipe.
void replaceByPipeEnd(int target, int end, int otherEnd) {
    ::close(target);
    ::close(otherEnd);
    ::dup2(end, target);
    ::close(end);
}

// Prints the text into the pipe and ends. Through std::cout and exit: this process is a copy of
// the program and ends as the program does.
[[noreturn]] void writeAndExit(const TPipe& pipe, const std::string& text) {
    // A reader that could not be started leaves a pipe that nobody reads. This process is to
    // end with status 0 all the same, not by a signal.
    static_cast<void>(std::signal(SIGPIPE, SIG_IGN));
    replaceByPipeEnd(STDOUT_FILENO, pipe.writeEnd, pipe.readEnd);
    const std::ios_base::Init streams;
    standard_output << text << std::flush;
    std::exit(0);
}

std::unique_ptr<char[]> copyArgument(const std::string& argument) {
    std::unique_ptr<char[]> copy(new char[argument.size() + 1]);
    std::copy_n(argument.c_str(), argument.size() + 1, copy.get());
    return copy;
}

}  // namespace

int execProgram(const TEArgs& args, bool searchPath) {
    // Copies, because exec takes writable characters.
    std::vector<std::unique_ptr<char[]>> copies;
    std::vector<char*> argv;
    copies.reserve(args.size());
    argv.reserve(args.size() + 1);
    for (const std::string& argument : args.elements()) {
        copies.push_back(copyArgument(argument));
        argv.push_back(copies.back().get());
    }
    argv.push_back(nullptr);
    const char* const file = copies.empty() ? "" : argv[0];
    if (searchPath) {
        ::execvp(file, argv.data());
    } else {
        ::execv(file, argv.data());
    }
    // By value, before the copies are freed.
    const int error = errno;
    return error;
}

void TToFile::inChild(TExec& /*exec*/) {
    replace(STDOUT_FILENO, openForWriting(path_, append_));
}

void TRedirectToFile::inChild(TExec& /*exec*/) {
    replace(descriptor_, openForWriting(path_, append_));
}

void TFromFile::inChild(TExec& /*exec*/) {
    replace(STDIN_FILENO, ::open(path_.c_str(), O_RDONLY));
}

void TRedirect::inChild(TExec& /*exec*/) {
    ::close(target_);
    ::dup2(source_, target_);
}

void TWriteToPipeline::inChild(TExec& /*exec*/) {
    replaceByPipeEnd(STDOUT_FILENO, pipe_->writeEnd, pipe_->readEnd);
}

void TReadFromPipeline::inChild(TExec& /*exec*/) {
    replaceByPipeEnd(STDIN_FILENO, pipe_->readEnd, pipe_->writeEnd);
}

void TReadOut::inChild(TExec& /*exec*/) {
    replaceByPipeEnd(STDOUT_FILENO, pipe_.writeEnd, pipe_.readEnd);
}

void TReadFromStr::inChild(TExec& /*exec*/) {
    TPipe pipe;
    pipe.open();
    const pid_t writer = ::fork();
    if (writer < 0) {
        const int error = errno;
        throw TSysCallErr(error);
    }
    if (writer == 0) {
        writeAndExit(pipe, text_);
    }
    replaceByPipeEnd(STDIN_FILENO, pipe.readEnd, pipe.writeEnd);
}

}  // namespace zarnic::sys
