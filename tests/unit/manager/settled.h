// Runs code that leaves processes behind, until every one of them has ended.

#pragma once

#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <functional>
#include <sstream>
#include <string>
#include <vector>

#include "tests/support/capture.h"

namespace test {

// How a process and those that it left behind ended, and what all of them wrote.
struct Outcome {
    int status;                // exit status, or 1000 and the signal
    std::vector<int> orphans;  // the same of the others, ascending
    std::string out;
    std::string err;
};

// Waits until this process, which adopts what others leave, has no child left.
inline std::string endsOfAll(pid_t first) {
    std::string own;
    std::string others;
    int status = 0;
    for (pid_t pid = 0; (pid = ::waitpid(-1, &status, 0)) > 0;) {
        const int end = WIFEXITED(status) ? WEXITSTATUS(status) : 1000 + WTERMSIG(status);
        (pid == first ? own : others) += std::to_string(end) + '\n';
    }
    return own + others;
}

// Runs `body` in a process of its own, which ends with 0 when the body returns.
inline Outcome settled(const std::function<void()>& body) {
    const TempDir dir;
    const Captured captured = inChild([&] {
        ::prctl(PR_SET_CHILD_SUBREAPER, 1);
        const pid_t pid = ::fork();
        if (pid == 0) {
            body();
            std::exit(0);
        }
        writeFile(dir / "ends", endsOfAll(pid));
    });
    Outcome outcome{-1, {}, captured.out, captured.err};
    std::istringstream ends(readFile(dir / "ends"));
    ends >> outcome.status;
    for (int status = 0; ends >> status;) {
        outcome.orphans.push_back(status);
    }
    std::sort(outcome.orphans.begin(), outcome.orphans.end());
    return outcome;
}

}  // namespace test
