// A preparer that writes down each call of its hooks. The notes go to a file, because half of
// the hooks run in the child.

#pragma once

#include <unistd.h>

#include <fstream>
#include <string>

#include "tests/unit/sys/runs.h"

namespace test {

// The notes of one test. Whoever writes them is the process that made this object, the parent,
// or else a child.
class Notes {
  public:
    void add(const std::string& text) const {
        std::ofstream(dir_ / (::getpid() == owner_ ? "parent" : "child"), std::ios::app)
            << text + " ";
    }

    // What one side wrote: "beforeFork inParent".
    std::string of(const std::string& side) const {
        const std::string list = readFile(dir_ / side);
        return list.substr(0, list.rfind(' '));
    }

  private:
    const TempDir dir_;
    const pid_t owner_ = ::getpid();
};

// Notes each hook as PREFIX + name, and the name of any hook that gets a runner other than
// `expected`.
class Recorder : public TExec::TPrepare {
  public:
    Recorder(const Notes& notes, const std::string& prefix, bool answer = true,
             const TExec* expected = nullptr)
        : notes_(notes), prefix_(prefix), answer_(answer), expected_(expected) {}

    void beforeFork(TExec& exec) override { note("beforeFork", exec); }
    bool forkFailed(TExec& exec) override { return note("forkFailed", exec); }
    void inParent(TExec& exec) override { note("inParent", exec); }
    void inChild(TExec& exec) override { note("inChild", exec); }
    void beforeExec(TExec& exec) override { note("beforeExec", exec); }
    bool execFailed(TExec& exec) override { return note("execFailed", exec); }

  private:
    bool note(const std::string& hook, const TExec& exec) const {
        const bool foreign = expected_ != nullptr && expected_ != &exec;
        notes_.add(prefix_ + hook + (foreign ? "(foreign)" : ""));
        return answer_;
    }

    const Notes& notes_;
    const std::string prefix_;
    const bool answer_;
    const TExec* const expected_;
};

inline TExec::Preparer recorder(const Notes& notes, const std::string& prefix = "",
                                bool answer = true, const TExec* expected = nullptr) {
    return TExec::Preparer(new Recorder(notes, prefix, answer, expected));
}

}  // namespace test
