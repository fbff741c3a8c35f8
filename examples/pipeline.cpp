// A pipeline of three programs with a file at its end, as the shell's
//     sort | uniq --count | sort --numeric-sort --reverse >FILE

#include <zarnic/sys/exec_list.h>
#include <zarnic/sys/wait.h>

#include <cstdio>
#include <exception>

using namespace zarnic::sys;

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s FILE\n", argv[0]);
        return 1;
    }
    try {
        const TExecList count =
            TExec(el + "sort").fromText("pear\nfig\npear\nplum\nfig\npear\n") |
            TExec(el + "uniq" + "--count") |
            TExec(el + "sort" + "--numeric-sort" + "--reverse");
        std::printf("%zu programs\n", count.size());
        std::fflush(stdout);

        // Without the wait bit they run side by side, however much passes between them. The end
        // of the last one is the end of all.
        const TExecResult last =
            runList(count.toFile(argv[1]).withModeToggled(TExec::wait_mode));
        std::printf("exit code %d\n", exitCode(waitChild(last.pid)));
        return 0;
    } catch (const std::exception& error) {
        // A TError, or the SystemError of a wait that failed. Also the end of a child whose
        // program could not be started.
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
}
