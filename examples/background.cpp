// Starts a program that outlives its caller, and the terminal that it was started from:
//     background PROGRAM [ARGUMENT...]

#include <unistd.h>
#include <zarnic/sys/exec.h>

#include <cstdio>

using namespace zarnic::sys;

namespace {

// In the child. The SIGHUP of a terminal that is closed goes to the sessions of that terminal.
class TOwnSession : public TExec::TPrepare {
    void inChild(TExec& /*exec*/) override { ::setsid(); }
    bool execFailed(TExec& /*exec*/) override { ::_exit(127); }
};

}  // namespace

int main(int argc, char** argv) {
    TEArgs args(el);
    for (int index = 1; index < argc; ++index) {
        args << argv[index];
    }
    try {
        // The streams: whoever reads this program's output to the end does not wait for the
        // other. The wait bit: it is set at first.
        const TExecResult started = TExec(args)
                                        .fromFile("/dev/null")
                                        .toFile("/dev/null")
                                        .redirect(STDERR_FILENO, STDOUT_FILENO)
                                        .with(TExec::Preparer(new TOwnSession))
                                        .withModeToggled(TExec::wait_mode)
                                        .run();
        std::printf("%s\n", started.pid > 0 ? "started" : "not started");
        return 0;
    } catch (const zarnic::TError& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
}
