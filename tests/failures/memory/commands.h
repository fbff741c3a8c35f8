// A stand-in server tree, and one command of the manager run on it with memory refused.

#pragma once

#include <sys/types.h>

#include <functional>
#include <string>
#include <vector>

#include "tests/failures/memory/refusal.h"
#include "tests/support/capture.h"

namespace test {

// How an invocation, with all the processes that it left behind, ended.
struct Invocation {
    bool thrown;  // std::bad_alloc came out of runCommandLine
    int status;   // else its result
    std::string out;
    std::string err;
    bool signalled;  // some process was ended by a signal
    bool refused;    // memory was refused to some process
};

// The folder that the commands work on. The process that every pid file names ignores the
// signals that it is sent.
class Host {
  public:
    Host();
    ~Host();
    Host(const Host&) = delete;
    Host& operator=(const Host&) = delete;

    std::string kavDir() const { return dir_.path(); }
    std::string file() const { return dir_ / "file"; }
    std::string config() const { return dir_ / "config"; }
    std::string pidFile() const { return dir_ / "pid-file-of-a-running-service"; }
    std::string noPidFile() const { return dir_ / "pid-file-of-a-stopped-service"; }
    bool serviceLives() const;

    // Makes the files anew, runs the command in a child of its own and waits for every process
    // of it.
    Invocation run(const Attempt& attempt, const std::vector<std::string>& arguments) const;

  private:
    TempDir dir_;
    pid_t service_;
};

// What a command that nothing is refused writes, and its status.
struct Outcome {
    std::string out;
    int status;
};

using Arguments = std::vector<std::string>;

class RefusedCommand : public testing::Test {
  protected:
    // With memory refused to the process that runs it, the command does what it always does, or
    // says "Error". Only what is refused before there is a parser comes out as std::bad_alloc.
    void refuseCaller(const Arguments& arguments, const Outcome& usual) const;

    // With memory refused to the processes that it forks, it ends in one of these ways.
    void refuseChildren(const Arguments& arguments, const std::vector<Outcome>& known) const;

    Arguments service(const std::string& command, const std::string& name,
                      const std::string& pidFile) const;

    Host host_;

    // Told of every run: what the command may have done to files by then.
    std::function<void(const Invocation&)> expectEffect_ = [](const Invocation& /*run*/) {};

  private:
    void expectSound(const Invocation& run) const;
};

}  // namespace test
