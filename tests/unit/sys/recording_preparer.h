// A preparer that writes down each call of its hooks. The notes go to a file, because half of
// the hooks run in the child.

#pragma once

#include <fcntl.h>
#include <unistd.h>

#include <sstream>
#include <string>

#include "tests/unit/sys/runs.h"

namespace test {

// The notes of one test, and who wrote them: the process that made this object or a child.
class Notes {
  public:
    Notes() : owner_(::getpid()) {}

    // One write, so that the lines of parent and child do not mix.
    void add(const std::string& text) const {
        const int file = ::open((dir_ / "notes").c_str(), O_WRONLY | O_CREAT | O_APPEND, 0666);
        const std::string line = (::getpid() == owner_ ? "parent " : "child ") + text + "\n";
        EXPECT_EQ(::write(file, line.data(), line.size()), static_cast<ssize_t>(line.size()));
        ::close(file);
    }

    // What one side wrote: "beforeFork inParent".
    std::string of(const std::string& side) const {
        std::string list;
        for (const std::string& text : reported(readFile(dir_ / "notes"), side)) {
            list += (list.empty() ? "" : " ") + text;
        }
        return list;
    }

  private:
    TempDir dir_;
    pid_t owner_;
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
    std::string prefix_;
    bool answer_;
    const TExec* expected_;
};

inline TExec::Preparer recorder(const Notes& notes, const std::string& prefix = "",
                                bool answer = true) {
    return TExec::Preparer(new Recorder(notes, prefix, answer));
}

}  // namespace test
