// Runs code that leaves processes behind, until every one of them has ended.

#pragma once

#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <functional>
#include <set>
#include <string>

#include "tests/support/capture.h"

namespace test {

// How a process and those that it left behind ended, and what all of them wrote.
struct Outcome {
    std::string ends;  // exit status, ": ", and the others' in ascending order: "0: 0 0 7"
    std::string out;
    std::string err;
};

// Runs `body` in a process of its own, which ends with 0 when the body returns.
inline Outcome settled(const std::function<void()>& body) {
    const TempDir dir;
    const Captured captured = inChild([&] {
        ::prctl(PR_SET_CHILD_SUBREAPER, 1);
        const pid_t first = ::fork();
        if (first == 0) {
            body();
            std::exit(0);
        }
        std::string ends;
        std::multiset<int> others;
        int status = 0;
        for (pid_t pid = 0; (pid = ::waitpid(-1, &status, 0)) > 0;) {
            const int end = WIFEXITED(status) ? WEXITSTATUS(status) : 1000 + WTERMSIG(status);
            if (pid == first) {
                ends = std::to_string(end) + ":";
            } else {
                others.insert(end);
            }
        }
        for (const int other : others) {
            ends += " " + std::to_string(other);
        }
        writeFile(dir / "ends", ends);
    });
    return {readFile(dir / "ends"), captured.out, captured.err};
}

}  // namespace test
