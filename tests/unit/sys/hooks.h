// A preparer that hands every hook to one function, by its name.

#pragma once

#include <unistd.h>

#include <functional>
#include <iostream>
#include <string>

#include "tests/unit/sys/runs.h"

namespace test {

class Hooks : public TExec::TPrepare {
  public:
    using Function = std::function<bool(const std::string& hook, TExec& exec)>;

    explicit Hooks(const Function& function) : function_(function) {}
    void beforeFork(TExec& exec) override { function_("beforeFork", exec); }
    bool forkFailed(TExec& exec) override { return function_("forkFailed", exec); }
    void inParent(TExec& exec) override { function_("inParent", exec); }
    void inChild(TExec& exec) override { function_("inChild", exec); }
    void beforeExec(TExec& exec) override { function_("beforeExec", exec); }
    bool execFailed(TExec& exec) override { return function_("execFailed", exec); }

  private:
    Function function_;
};

inline TExec::Preparer hooks(const Hooks::Function& function) {
    return TExec::Preparer(new Hooks(function));
}

// Prints PREFIX and the name of each hook: to standard output in the process that made this, to
// standard error in a child.
inline TExec::Preparer tellingHooks(const std::string& prefix) {
    return hooks([prefix, owner = ::getpid()](const std::string& hook, TExec& /*exec*/) {
        (::getpid() == owner ? std::cout : std::cerr) << prefix << hook << " " << std::flush;
        return true;
    });
}

}  // namespace test
