// Captures what a program prints, and judges how the program ended; feeds a long text to one
// and reads what comes back. No shell is in between: the star below reaches the program as it
// is.

#include <zarnic/sys/output.h>
#include <zarnic/sys/wait.h>

#include <cstdio>
#include <stdexcept>
#include <string>

using namespace zarnic::sys;

namespace {

void judge(const TExec& program) {
    std::string text;
    int status = 0;
    readOutput(text, status, program);
    if (exitedNormally(status)) {
        std::printf("exit code %d, printed: %s", exitCode(status), text.c_str());
    } else {
        std::printf("ended by a signal, printed: %s", text.c_str());
    }
}

}  // namespace

int main() {
    // Each line goes out at once: a child has a copy of what is not written yet.
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    try {
        judge(TExec(el + "expr" + "6" + "*" + "7"));
        judge(TExec(el + "expr" + "6" + "-" + "6"));
        judge(TExec(el + "sh" + "-c" + "echo good-bye; kill -TERM $$"));

        // What the buffer of stdout holds would go into the text first.
        std::fflush(stdout);
        const std::string fed(1'000'000, 'a');
        std::string text;
        checkedOutput(text, TExec(el + "tr" + "a" + "b").fromText(fed));
        std::printf("fed %zu bytes, read %zu\n", fed.size(), text.size());

        // Where anything but success is an error.
        checkedOutput(text, TExec(el + "expr" + "6" + "-" + "6"));
    } catch (const std::runtime_error& error) {
        std::printf("%s", error.what());
        return 0;
    } catch (const TSysCallErr& error) {
        // Also the end of a child whose program could not be started.
        std::fprintf(stderr, "%s\n", error.what());
    }
    return 1;
}
