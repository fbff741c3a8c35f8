#include "zarnic/sys/preparers.h"

#include <fcntl.h>
#include <unistd.h>

#include "lib/sys/after_fork.h"

namespace zarnic::sys {

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

void TReadFromStr::inChild(TExec& /*exec*/) { feedText(text_); }

void TRedirectToFile::inChild(TExec& /*exec*/) {
    replaceDescriptor(descriptor_, openForWriting(path_, append_));
}

// Not replaceDescriptor, which closes the source: as with 2>&1, the source stays open.
void TRedirect::inChild(TExec& /*exec*/) {
    ::close(target_);
    ::dup2(source_, target_);
}

void TToFile::inChild(TExec& /*exec*/) {
    replaceDescriptor(STDOUT_FILENO, openForWriting(path_, append_));
}

void TFromFile::inChild(TExec& /*exec*/) {
    replaceDescriptor(STDIN_FILENO, ::open(path_.c_str(), O_RDONLY));
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
