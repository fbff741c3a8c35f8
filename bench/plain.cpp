#include "bench/plain.h"

#include <malloc.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

namespace plain {

namespace {

// What one measurement has freed goes back to the system: a fork copies the page tables of all
// that its caller has in use, and the runs that come after a large capture would pay for it.
[[gnu::constructor]] void giveLargeBlocksBack() { ::mallopt(M_MMAP_THRESHOLD, 1 << 20); }

// exec takes pointers to writable characters, but never writes to them.
char* const* writable(const char* const* argv) { return const_cast<char* const*>(argv); }

}  // namespace

void fail(const char* what) {
    std::perror(what);
    std::exit(1);
}

pid_t start(const char* const* argv, int output) {
    const pid_t pid = ::fork();
    if (pid < 0) {
        fail("fork");
    }
    if (pid == 0) {
        if (output >= 0) {
            ::dup2(output, STDOUT_FILENO);
            ::close(output);
        }
        ::execvp(argv[0], writable(argv));
        ::_exit(127);
    }
    return pid;
}

pid_t spawn(const char* const* argv) {
    pid_t pid = 0;
    if (::posix_spawnp(&pid, argv[0], nullptr, nullptr, writable(argv), environ) != 0) {
        fail("posix_spawnp");
    }
    return pid;
}

void wait(pid_t pid) {
    int status = 0;
    if (::waitpid(pid, &status, 0) != pid || status != 0) {
        fail("waitpid");
    }
}

std::string capture(const char* const* argv) {
    int ends[2];
    if (::pipe(ends) != 0) {
        fail("pipe");
    }
    const pid_t pid = ::fork();
    if (pid < 0) {
        fail("fork");
    }
    if (pid == 0) {
        ::close(STDOUT_FILENO);
        ::close(ends[0]);
        ::dup2(ends[1], STDOUT_FILENO);
        ::close(ends[1]);
        ::execvp(argv[0], writable(argv));
        ::_exit(127);
    }
    ::close(ends[1]);
    std::string text;
    char chunk[1024];
    for (ssize_t length; (length = ::read(ends[0], chunk, sizeof chunk)) > 0;) {
        text.append(chunk, static_cast<std::size_t>(length));
    }
    ::close(ends[0]);
    wait(pid);
    return text;
}

int lowestFreeDescriptor() {
    const int descriptor = ::dup(STDIN_FILENO);
    ::close(descriptor);
    return descriptor;
}

}  // namespace plain
