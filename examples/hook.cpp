// A hook of one's own around fork and exec: the program runs in another folder.

#include <unistd.h>
#include <zarnic/sys/exec.h>

#include <cstdio>
#include <string>
#include <utility>

using namespace zarnic::sys;

namespace {

class TInFolder : public TExec::TPrepare {
  public:
    explicit TInFolder(std::string folder) : folder_(std::move(folder)) {}

    // In this process. Flushed, or the child would write the buffered line once more.
    void beforeFork(TExec& exec) override {
        std::printf("%s in %s\n", exec.args().at(0).c_str(), folder_.c_str());
        std::fflush(stdout);
    }

    // In the child: this process stays where it is.
    void inChild(TExec& /*exec*/) override {
        if (::chdir(folder_.c_str()) != 0) {
            ::_exit(126);
        }
    }

    // In the child: without it, the error would go up the child's copy of main.
    bool execFailed(TExec& /*exec*/) override { ::_exit(127); }

  private:
    std::string folder_;
};

// An attachment may be kept, and used for many runs.
void runIn(const TExec::Preparer& folder, const std::string& program) {
    const TExecResult result = TExec(el + program).with(folder).run();
    std::printf("exit code %d\n", result.code);
}

}  // namespace

int main() {
    const TExec::Preparer usr(new TInFolder("/usr"));
    runIn(usr, "pwd");
    runIn(usr, "no-such-program");
    runIn(TExec::Preparer(new TInFolder("/no/such/folder")), "pwd");
}
