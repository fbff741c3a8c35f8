// What the tests of running programs share: short spellings of runners, the readings of the
// probe's report, and the means to make fork, pipe and waiting fail.

#pragma once

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/types.h>

#include <functional>
#include <set>
#include <string>
#include <vector>

#include "tests/support/capture.h"
#include "zarnic/sys/exec.h"

namespace test {

using Words = std::vector<std::string>;
using zarnic::sys::TExec;
using zarnic::sys::TExecResult;

// A test that forks. A forked child that should come back here, by an error that it was not
// meant to see, ends instead of running the other tests a second time.
class RunTest : public testing::Test {
  protected:
    RunTest();
    ~RunTest() override;

  private:
    pid_t owner_;
};

// A runner of any program, and one of the probe.
TExec program(const Words& words, std::uint64_t mode = TExec::def_mode);
TExec probe(Words words, std::uint64_t mode = TExec::def_mode);

// A runner of a function in the forked child in place of a program. Unlike the library's own
// it leaves the mode alone, so the run can be waited for.
TExec inChildDo(const std::function<int()>& body);

// Runs, and ends the forked child when the run comes back in it: by the number of the error
// that it saw, or by `declined` when it returned.
constexpr int declined = 201;
TExecResult runOnce(TExec& exec);
TExecResult runOnce(TExec&& exec);

// The number of the TSysCallErr that `body` throws, 0 when it throws none.
int thrownErrno(const std::function<void()>& body);

// The same, when pipe fails with EMFILE. `body` is called once before, with descriptors to be
// had: checkers of undefined behaviour make pipes of their own when they meet a class for the
// first time.
int errnoWithoutDescriptors(const std::function<void()>& body);

// Waits for a child and returns its raw status; -1 when there is none to wait for.
int reap(pid_t pid);

// Whether this process has no child left, ended or not.
bool childless();

// Runs `body` in a forked child, where EXPECT and ASSERT work as usual; what they print is part
// of the failure here.
Captured isolated(const std::function<void()>& body);

// The descriptors open in this process.
std::set<int> descriptors();

// The values of a key in the probe's report, the descriptors it was started with, and what one
// of them was; empty when it was closed.
Words reported(const std::string& report, const std::string& key);
std::set<int> inherited(const std::string& report);
std::string target(const std::string& report, int descriptor);

// While one of these lives, fork fails with EAGAIN. As root the process is an ordinary user
// meanwhile: the limit does not hold for root. Only for isolated children.
class NoNewProcesses {
  public:
    NoNewProcesses();
    ~NoNewProcesses();
    NoNewProcesses(const NoNewProcesses&) = delete;
    NoNewProcesses& operator=(const NoNewProcesses&) = delete;

  private:
    bool root_;
    rlimit before_{};
};

// A counter that forked processes share, counted up by SIGUSR1, whose handler lets system calls
// be interrupted.
class Interrupts {
  public:
    Interrupts();
    int count() const;

    // Called in a child: waits until `pid` sleeps in a system call, interrupts it there, and
    // returns when it has noticed.
    void interrupt(pid_t pid) const;
};

}  // namespace test
