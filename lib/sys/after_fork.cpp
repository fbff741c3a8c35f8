#include "lib/sys/after_fork.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <vector>

namespace zarnic::sys {

namespace {

constexpr mode_t new_file_mode = 0664;

// Closes first. When the caller has `target` closed, the pipe may have got its number: the end
// is closed with it then, and the program runs with that stream closed (docs/deliberate.md).
// The other end must not stay open: a reader that holds the write end never sees the end of its
// input.
void replaceByEnd(int target, int end, int otherEnd) {
    ::close(target);
    ::close(otherEnd);
    ::dup2(end, target);
    ::close(end);
}

// This process is a copy of the caller and ends as the caller does, by exit. Nothing else may
// leave this function: a second copy of the caller would go on running.
[[noreturn]] void writeAndExit(const TPipe& pipe, const std::string& text) noexcept {
    // A reader that could not be started leaves a pipe that nobody reads. This process is to
    // end with status 0 all the same, not by a signal.
    static_cast<void>(std::signal(SIGPIPE, SIG_IGN));
    replaceByWriteEnd(STDOUT_FILENO, pipe);
    // By stdio: the caller may have told std::cout to throw, or to pad. What the caller has
    // left in the buffer of stdout was copied by fork, and goes out before the text.
    static_cast<void>(std::fwrite(text.data(), 1, text.size(), stdout));
    static_cast<void>(std::fflush(stdout));
    std::exit(0);
}

std::unique_ptr<char[]> copyArgument(const std::string& argument) {
    std::unique_ptr<char[]> copy(new char[argument.size() + 1]);
    std::copy_n(argument.c_str(), argument.size() + 1, copy.get());
    return copy;
}

}  // namespace

int openForWriting(const std::string& path, bool append) {
    return ::open(path.c_str(), O_WRONLY | O_CREAT | (append ? O_APPEND : O_TRUNC),
                  new_file_mode);
}

// As above, a file that was opened as `target` itself is closed here.
void replaceDescriptor(int target, int opened) {
    ::close(target);
    ::dup2(opened, target);
    ::close(opened);
}

void replaceByReadEnd(int target, const TPipe& pipe) {
    replaceByEnd(target, pipe.readEnd, pipe.writeEnd);
}

void replaceByWriteEnd(int target, const TPipe& pipe) {
    replaceByEnd(target, pipe.writeEnd, pipe.readEnd);
}

// A process of its own writes, because this one becomes the program that reads: a text longer
// than the pipe holds could not be written before exec.
void feedText(const std::string& text) {
    TPipe pipe;
    pipe.open();
    const pid_t writer = ::fork();
    if (writer < 0) {
        const int error = errno;
        throw TSysCallErr(error);
    }
    if (writer == 0) {
        writeAndExit(pipe, text);
    }
    // Only after the fork, for the writer needs the write end. The program that this process
    // becomes does not know of its child: init reaps the writer when the program has ended.
    replaceByReadEnd(STDIN_FILENO, pipe);
}

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

}  // namespace zarnic::sys
