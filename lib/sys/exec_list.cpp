#include "zarnic/sys/exec_list.h"

#include "zarnic/sys/preparers.h"

namespace zarnic::sys {

TExecList::TExecList(const TExec& program) : programs_(1, program) {}

// A copy of the last runner alone: its preparer is shared, and must not change for other
// holders.
TExecList TExecList::with(const Preparer& prepare) const {
    TExecList copy(*this);
    if (!copy.programs_.empty()) {
        copy.programs_.back() = copy.programs_.back().with(prepare);
    }
    return copy;
}

TExecList TExecList::withModeToggled(std::uint64_t bits) const {
    TExecList copy(*this);
    for (TExec& program : copy.programs_) {
        program = program.withModeToggled(bits);
    }
    return copy;
}

TExecList operator|(const TExecList& left, const TExec& right) {
    // Without a writer no pipe would ever be made, and the reader would close descriptor 0.
    if (left.programs().empty()) {
        return right;
    }
    // One pair for both sides. The left side's run fills it; the right side's run, which comes
    // later in list order, inherits the descriptors and closes them in the parent.
    const SharedHandle<TPipe> pipe(new TPipe);
    TExecList joined = left.with(Preparer(new TWriteToPipeline(pipe)));
    joined.programs().push_back(right.with(Preparer(new TReadFromPipeline(pipe))));
    return joined;
}

TExecResult runList(TExecList& list) {
    TExecResult last{0, 0};
    for (TExec& program : list.programs()) {
        last = program.run();
    }
    return last;
}

TExecResult runList(TExecList&& list) { return runList(list); }

}  // namespace zarnic::sys
