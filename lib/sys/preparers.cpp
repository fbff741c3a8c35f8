#include "zarnic/sys/preparers.h"

#include <unistd.h>

namespace zarnic::sys {

void TWriteToPipeline::beforeFork(TExec& /*exec*/) { pipe_->open(); }

void TReadFromPipeline::inParent(TExec& /*exec*/) {
    ::close(pipe_->readEnd);
    ::close(pipe_->writeEnd);
}

void TReadOut::beforeFork(TExec& /*exec*/) { pipe_.open(); }

// Kept open, it would hide the end of the child's output from the reader.
void TReadOut::inParent(TExec& /*exec*/) { ::close(pipe_.writeEnd); }

void TUnionPrep::callBoth(void (TExec::TPrepare::*hook)(TExec&), TExec& exec) {
    for (TExec::TPrepare* const part : {first_.get(), second_.get()}) {
        if (part != nullptr) {
            (part->*hook)(exec);
        }
    }
}

bool TUnionPrep::askBoth(bool (TExec::TPrepare::*hook)(TExec&), TExec& exec) {
    if (first_.get() != nullptr) {
        (first_.get()->*hook)(exec);
    }
    return second_.get() == nullptr || (second_.get()->*hook)(exec);
}

void TUnionPrep::beforeFork(TExec& exec) { callBoth(&TExec::TPrepare::beforeFork, exec); }

bool TUnionPrep::forkFailed(TExec& exec) { return askBoth(&TExec::TPrepare::forkFailed, exec); }

void TUnionPrep::inParent(TExec& exec) { callBoth(&TExec::TPrepare::inParent, exec); }

void TUnionPrep::inChild(TExec& exec) { callBoth(&TExec::TPrepare::inChild, exec); }

void TUnionPrep::beforeExec(TExec& exec) { callBoth(&TExec::TPrepare::beforeExec, exec); }

bool TUnionPrep::execFailed(TExec& exec) { return askBoth(&TExec::TPrepare::execFailed, exec); }

}  // namespace zarnic::sys
