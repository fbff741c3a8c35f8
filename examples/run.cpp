// Runs a program and waits for its end. A program that cannot be started ends its child with
// 127, as a shell's does, or it comes back by an exception.

#include <unistd.h>
#include <zarnic/sys/exec.h>

#include <cstdio>

using namespace zarnic::sys;

namespace {

// In the child, whose program cannot be started: without it, the error goes up the child's copy
// of main.
class TEndWith127 : public TExec::TPrepare {
    bool execFailed(TExec& /*exec*/) override { ::_exit(127); }
};

}  // namespace

int main() {
    // Each line goes out at once: a child has a copy of what is not written yet.
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    const TExec::Preparer guard(new TEndWith127);
    try {
        const TExecResult made = TExec(el + "mkdir" + "a folder").with(guard).run();
        std::printf("exit code %d\n", made.code);  // -1: ended by a signal

        const TExecResult missing = TExec(el + "no-such-program").with(guard).run();
        std::printf("exit code %d\n", missing.code);

        const TExecResult bare = TExec(el + "no-such-program").run();
        std::printf("exit code %d\n", bare.code);
        return 0;
    } catch (const TSysCallErr& error) {
        // Here when fork or waitpid failed. In the child when its program cannot be started:
        // the caller then sees exit code 3.
        std::fprintf(stderr, "%s\n", error.what());
        return 3;
    }
}
