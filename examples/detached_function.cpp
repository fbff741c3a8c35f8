// Runs functions as detached children. Each run returns at once; a function's result becomes
// its process's exit status.

#include <unistd.h>
#include <zarnic/sys/function_call.h>
#include <zarnic/sys/wait.h>

#include <cerrno>
#include <cstdio>
#include <string>

using namespace zarnic::sys;

namespace {

int fail() { throw TSysCallErr(ENOENT); }

void show(const char* what, const TExecResult& started) {
    std::printf("%s: started, code %d\n", what, started.code);
    // A caller that is in no hurry may collect the exit status.
    std::printf("%s: exit status %d\n", what, exitCode(waitChild(started.pid)));
}

}  // namespace

int main() {
    // Each line goes out at once: a child has a copy of what is not written yet.
    std::setvbuf(stdout, nullptr, _IOLBF, 0);

    const std::string name = "ann";
    show("lambda", functionCall([name] { return static_cast<int>(name.size()); }).run());

    // The number of a system call's error, and 255 for any other exception.
    show("error", functionCall(fail).run());

    // Attachments act as for a program.
    const auto complain = [] {
        std::fputs("complained\n", stderr);
        return 1;
    };
    TExec logged =
        functionCall(complain).redirectToFile(STDERR_FILENO, "log", TWriting::append);
    show("first", logged.run());
    show("second", logged.run());
}
