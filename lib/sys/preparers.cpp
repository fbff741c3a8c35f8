#include "zarnic/sys/preparers.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>

// The hooks in a child run between fork and exec. They may use the heap, because the process
// has one thread: no other can have held the allocator's lock when fork copied it. Were a
// thread ever added, all that is made here would have to be made before fork.
//
// A stream is closed before it is replaced, so that it is closed after a failed open.
// Deliberately no result of open, close or dup2 is tested: the program runs with that stream
// closed, and says itself what it thinks of that.

namespace zarnic::sys {

namespace {

constexpr mode_t new_file_mode = 0664;

int openForWriting(const std::string& path, bool append) {
    return ::open(path.c_str(), O_WRONLY | O_CREAT | (append ? O_APPEND : O_TRUNC),
                  new_file_mode);
}

// A file that was opened as `target` itself, which the caller had closed, is closed here.
void replace(int target, int opened) {
    ::close(target);
    ::dup2(opened, target);
    ::close(opened);
}

// The other end must not stay open: a reader that holds the write end never sees the end of its
// input. A pipe whose end got the number of a closed `target` leaves the target closed.
void replaceByEnd(int target, int end, int otherEnd) {
    ::close(target);
    ::close(otherEnd);
    ::dup2(end, target);
    ::close(end);
}

void replaceByReadEnd(int target, const TPipe& pipe) {
    replaceByEnd(target, pipe.readEnd, pipe.writeEnd);
}

void replaceByWriteEnd(int target, const TPipe& pipe) {
    replaceByEnd(target, pipe.writeEnd, pipe.readEnd);
}

// This process is a copy of the caller and ends as the caller does, by exit: exit handlers run,
// and stdio gives back what it has read ahead of an input (preparers.h). Nothing else may leave
// this function: a second copy of the caller would go on running.
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

}  // namespace

void TPrepare::beforeFork(TExec& /*exec*/) {}

bool TPrepare::forkFailed(TExec& /*exec*/) { return true; }

void TPrepare::inParent(TExec& /*exec*/) {}

void TPrepare::inChild(TExec& /*exec*/) {}

void TPrepare::beforeExec(TExec& /*exec*/) {}

bool TPrepare::execFailed(TExec& /*exec*/) { return true; }

void TPipe::open() {
    // Aside, so that a failed pipe(2) leaves the members as they were.
    int ends[2];
    if (::pipe(ends) < 0) {
        const int error = errno;
        throw TSysCallErr(error);
    }
    readEnd = ends[0];
    writeEnd = ends[1];
}

void TWriteToPipeline::beforeFork(TExec& /*exec*/) { pipe_->open(); }

void TWriteToPipeline::inChild(TExec& /*exec*/) { replaceByWriteEnd(STDOUT_FILENO, *pipe_); }

// The writer runs already and the reader has its copies. A write end kept open here would hide
// the end of the writer's output from the reader.
void TReadFromPipeline::inParent(TExec& /*exec*/) {
    ::close(pipe_->readEnd);
    ::close(pipe_->writeEnd);
}

void TReadFromPipeline::inChild(TExec& /*exec*/) { replaceByReadEnd(STDIN_FILENO, *pipe_); }

void TReadOut::beforeFork(TExec& /*exec*/) { pipe_.open(); }

// Kept open, it would hide the end of the child's output from the reader.
void TReadOut::inParent(TExec& /*exec*/) { ::close(pipe_.writeEnd); }

void TReadOut::inChild(TExec& /*exec*/) { replaceByWriteEnd(STDOUT_FILENO, pipe_); }

// A process of its own writes, because this one becomes the program that reads: a text longer
// than the pipe holds could not be written before exec.
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
    // Only after the fork, for the writer needs the write end. The program that this process
    // becomes does not know of its child: init reaps the writer when the program has ended.
    replaceByReadEnd(STDIN_FILENO, pipe);
}

void TRedirectToFile::inChild(TExec& /*exec*/) {
    replace(descriptor_, openForWriting(path_, append_));
}

// Not replace, which closes the source: as with 2>&1, the source stays open.
void TRedirect::inChild(TExec& /*exec*/) {
    ::close(target_);
    ::dup2(source_, target_);
}

void TToFile::inChild(TExec& /*exec*/) {
    replace(STDOUT_FILENO, openForWriting(path_, append_));
}

void TFromFile::inChild(TExec& /*exec*/) {
    replace(STDIN_FILENO, ::open(path_.c_str(), O_RDONLY));
}

void TUnionPrep::callBoth(void (TPrepare::*hook)(TExec&), TExec& exec) {
    for (TPrepare* const part : {first_.get(), second_.get()}) {
        if (part != nullptr) {
            (part->*hook)(exec);
        }
    }
}

// The first is asked too, for what its hook does, but its answer is deliberately ignored.
bool TUnionPrep::askBoth(bool (TPrepare::*hook)(TExec&), TExec& exec) {
    if (first_.get() != nullptr) {
        (first_.get()->*hook)(exec);
    }
    return second_.get() == nullptr || (second_.get()->*hook)(exec);
}

void TUnionPrep::beforeFork(TExec& exec) { callBoth(&TPrepare::beforeFork, exec); }

bool TUnionPrep::forkFailed(TExec& exec) { return askBoth(&TPrepare::forkFailed, exec); }

void TUnionPrep::inParent(TExec& exec) { callBoth(&TPrepare::inParent, exec); }

void TUnionPrep::inChild(TExec& exec) { callBoth(&TPrepare::inChild, exec); }

void TUnionPrep::beforeExec(TExec& exec) { callBoth(&TPrepare::beforeExec, exec); }

bool TUnionPrep::execFailed(TExec& exec) { return askBoth(&TPrepare::execFailed, exec); }

}  // namespace zarnic::sys
