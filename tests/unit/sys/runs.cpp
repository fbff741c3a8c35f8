#include "tests/unit/sys/runs.h"

#include <signal.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <sstream>
#include <utility>

#include "tests/unit/sys/hooks.h"

namespace test {

using zarnic::sys::TEArgs;
using zarnic::sys::TSysCallErr;

namespace {

constexpr uid_t ordinary_user = 65534;

volatile int* interrupted = nullptr;

void countInterrupt(int /*signal*/) { *interrupted = *interrupted + 1; }

// Waits until a process sleeps in a system call.
void waitForSleep(pid_t pid) {
    for (;;) {
        const std::string stat = readFile("/proc/" + std::to_string(pid) + "/stat");
        // The name before the state may hold blanks and parentheses.
        if (stat.substr(stat.rfind(") ") + 2, 1) == "S") {
            return;
        }
        ::usleep(1000);
    }
}

}  // namespace

RunTest::RunTest() : owner_(::getpid()) {
    // One that everybody may search: an entry that may not be searched makes of a program that
    // is nowhere one that may not be run.
    ::setenv("PATH", "/usr/bin:/bin", 1);
}

RunTest::~RunTest() {
    if (::getpid() != owner_) {
        std::_Exit(98);
    }
}

TExec program(const Words& words, std::uint64_t mode) {
    TEArgs args;
    for (const std::string& word : words) {
        args << word;
    }
    return TExec(args, mode);
}

TExec probe(Words words, std::uint64_t mode) {
    words.insert(words.begin(), PROBE_PATH);
    return program(words, mode);
}

TExec inChildDo(const std::function<int()>& body) {
    return TExec(hooks([body](const std::string& hook, TExec& /*exec*/) {
        if (hook == "beforeExec") {
            std::exit(body());
        }
        return true;
    }));
}

// Through exit, and so also with what a coverage or leak check does at the end of a process.
TExecResult runOnce(TExec& exec) {
    const pid_t owner = ::getpid();
    try {
        const TExecResult result = exec.run();
        if (::getpid() != owner) {
            std::exit(result.pid == -1 && result.code == 0 ? declined : declined + 1);
        }
        return result;
    } catch (const TSysCallErr& error) {
        if (::getpid() != owner) {
            std::exit(error.error());
        }
        throw;
    }
}

TExecResult runOnce(TExec&& exec) { return runOnce(exec); }

int thrownErrno(const std::function<void()>& body) {
    try {
        body();
    } catch (const TSysCallErr& error) {
        return error.error();
    }
    return 0;
}

int errnoWithoutDescriptors(const std::function<void()>& body) {
    EXPECT_EQ(thrownErrno(body), 0);
    EXPECT_EQ(thrownErrno([] { throw TSysCallErr(EMFILE); }), EMFILE);
    rlimit before{};
    EXPECT_EQ(::getrlimit(RLIMIT_NOFILE, &before), 0);
    const rlimit none{0, before.rlim_max};
    EXPECT_EQ(::setrlimit(RLIMIT_NOFILE, &none), 0);
    const int error = thrownErrno(body);
    EXPECT_EQ(::setrlimit(RLIMIT_NOFILE, &before), 0);
    return error;
}

int reap(pid_t pid) {
    int status = 0;
    return ::waitpid(pid, &status, 0) == pid ? status : -1;
}

bool childless() { return ::waitpid(-1, nullptr, WNOHANG) < 0 && errno == ECHILD; }

Captured isolated(const std::function<void()>& body) {
    const Captured captured = inChild([&body] {
        const pid_t owner = ::getpid();
        try {
            body();
        } catch (const std::exception& error) {
            ADD_FAILURE() << error.what();
        }
        if (::getpid() != owner) {
            std::_Exit(98);
        }
        std::exit(testing::Test::HasFailure() ? 1 : 0);
    });
    EXPECT_TRUE(captured.exited(0)) << "status " << captured.status << '\n'
                                    << captured.out << captured.err;
    return captured;
}

std::set<int> descriptors() {
    std::set<int> numbers;
    std::istringstream list(openDescriptors());
    for (std::string line; std::getline(list, line);) {
        numbers.insert(std::stoi(line));
    }
    return numbers;
}

Words reported(const std::string& report, const std::string& key) {
    Words values;
    std::istringstream lines(report);
    for (std::string line; std::getline(lines, line);) {
        if (line.starts_with(key + " ")) {
            values.push_back(line.substr(key.size() + 1));
        }
    }
    return values;
}

std::set<int> inherited(const std::string& report) {
    std::set<int> numbers;
    for (const std::string& entry : reported(report, "fd")) {
        numbers.insert(std::stoi(entry));
    }
    return numbers;
}

std::string target(const std::string& report, int descriptor) {
    const Words found = reported(report, "fd " + std::to_string(descriptor));
    return found.empty() ? std::string() : found.front();
}

// The saved user id stays root's, so that the way back is open.
NoNewProcesses::NoNewProcesses() : root_(::geteuid() == 0) {
    if (root_) {
        EXPECT_EQ(::setresuid(ordinary_user, ordinary_user, 0), 0);
    }
    EXPECT_EQ(::getrlimit(RLIMIT_NPROC, &before_), 0);
    const rlimit none{0, before_.rlim_max};
    EXPECT_EQ(::setrlimit(RLIMIT_NPROC, &none), 0);
}

NoNewProcesses::~NoNewProcesses() {
    ::setrlimit(RLIMIT_NPROC, &before_);
    if (root_) {
        EXPECT_EQ(::setresuid(0, 0, 0), 0);
    }
    // Changing the user took this away, and leak checkers need it.
    ::prctl(PR_SET_DUMPABLE, 1);
}

Interrupts::Interrupts() {
    interrupted = static_cast<int*>(::mmap(nullptr, sizeof(int), PROT_READ | PROT_WRITE,
                                           MAP_SHARED | MAP_ANONYMOUS, -1, 0));
    struct sigaction action = {};
    action.sa_handler = countInterrupt;
    ::sigaction(SIGUSR1, &action, nullptr);
}

int Interrupts::count() const { return *interrupted; }

void Interrupts::interrupt(pid_t pid) const {
    const int before = count();
    waitForSleep(pid);
    ::kill(pid, SIGUSR1);
    while (count() == before) {
        ::usleep(1000);
    }
}

}  // namespace test
