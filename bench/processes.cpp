// Measures whole processes, from their start until the invoking process returns:
//
//   processes OUT.json ROUNDS LABEL PROGRAM ARGUMENT... [-- LABEL PROGRAM ARGUMENT...]...
//
// Each round runs every command once, in an order of its own, so that whatever else the machine
// does meets all of them alike, and so does what the command before leaves in its caches.
// Standard output is a pipe, as the panel's is, input and errors are /dev/null, and everything
// runs on one processor. A command must exit with 0.
//
// Static and small on purpose: the peak memory that the kernel reports for a child includes
// what its starter had before exec, so this program must stay below what it measures.

#include <fcntl.h>
#include <sched.h>
#include <spawn.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <random>
#include <vector>

namespace {

struct Sample {
    double microseconds;
    long maxrss;  // KiB
    long faults;  // without reading from disk
};

struct Command {
    const char* label;
    char* const* argv;
    std::vector<Sample> samples;
};

[[noreturn]] void fail(const char* what, const char* detail) {
    std::fprintf(stderr, "processes: %s: %s\n", what, detail);
    std::exit(1);
}

void require(bool holds, const char* what) {
    if (!holds) {
        fail(what, std::strerror(errno));
    }
}

// "--" ends one command; the label stands before its program.
std::vector<Command> parseCommands(char** first) {
    std::vector<Command> commands;
    while (*first != nullptr) {
        if (first[1] == nullptr) {
            fail("a label without a program", *first);
        }
        commands.push_back({*first, first + 1, {}});
        while (*first != nullptr && std::strcmp(*first, "--") != 0) {
            ++first;
        }
        if (*first != nullptr) {
            *first++ = nullptr;
        }
    }
    return commands;
}

class Streams {
  public:
    Streams() {
        require(::pipe2(ends_, O_CLOEXEC | O_NONBLOCK) == 0, "pipe");
        ::posix_spawn_file_actions_init(&actions_);
        ::posix_spawn_file_actions_addopen(&actions_, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
        ::posix_spawn_file_actions_adddup2(&actions_, ends_[1], STDOUT_FILENO);
        ::posix_spawn_file_actions_addopen(&actions_, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
        // What the children see must block, as any standard output does.
        ::fcntl(ends_[1], F_SETFL, 0);
    }

    const posix_spawn_file_actions_t* actions() const { return &actions_; }

    void drain() const {
        char rest[4096];
        while (::read(ends_[0], rest, sizeof rest) > 0) {}
    }

  private:
    int ends_[2];
    posix_spawn_file_actions_t actions_;
};

double now() {
    timespec time;
    ::clock_gettime(CLOCK_MONOTONIC, &time);
    return static_cast<double>(time.tv_sec) * 1e6 + static_cast<double>(time.tv_nsec) / 1e3;
}

Sample measure(const Command& command, const Streams& streams) {
    pid_t pid = 0;
    int status = 0;
    rusage usage;
    const double start = now();
    const int error = ::posix_spawnp(&pid, command.argv[0], streams.actions(), nullptr,
                                     command.argv, environ);
    if (error != 0) {
        fail(command.argv[0], std::strerror(error));
    }
    require(::wait4(pid, &status, 0, &usage) == pid, "wait4");
    const double end = now();
    if (status != 0) {
        fail(command.label, "did not exit with 0");
    }
    return {end - start, usage.ru_maxrss, usage.ru_minflt};
}

// What a command left running ends before the next one is measured.
void settle(const Streams& streams) {
    while (::waitpid(-1, nullptr, 0) > 0) {}
    streams.drain();
}

void runRounds(std::vector<Command>& commands, long rounds) {
    const Streams streams;
    for (Command& command : commands) {
        command.samples.reserve(static_cast<std::size_t>(rounds));
        measure(command, streams);
        settle(streams);
    }
    std::vector<Command*> order;
    for (Command& command : commands) {
        order.push_back(&command);
    }
    std::minstd_rand random;  // the same orders in every measurement
    for (long round = 0; round < rounds; ++round) {
        std::shuffle(order.begin(), order.end(), random);
        for (Command* const command : order) {
            command->samples.push_back(measure(*command, streams));
            settle(streams);
        }
        if (round % std::max(rounds / 20, 1L) == 0) {
            std::fprintf(stderr, "\r  %ld of %ld rounds", round, rounds);
        }
    }
    std::fprintf(stderr, "\r  %ld of %ld rounds\n", rounds, rounds);
}

template <class Field>
void printField(std::FILE* out, const char* name, const Command& command, Field field) {
    const char* separator = "";
    std::fprintf(out, "   \"%s\": [", name);
    for (const Sample& sample : command.samples) {
        std::fprintf(out, "%s%.1f", separator, static_cast<double>(field(sample)));
        separator = ", ";
    }
    std::fprintf(out, "]");
}

void write(const char* path, const std::vector<Command>& commands) {
    std::FILE* const out = std::fopen(path, "w");
    require(out != nullptr, path);
    std::fprintf(out, "{\"commands\": [");
    const char* separator = "\n";
    for (const Command& command : commands) {
        std::fprintf(out, "%s  {\"label\": \"%s\",\n", separator, command.label);
        printField(out, "microseconds", command,
                   [](const Sample& s) { return s.microseconds; });
        std::fprintf(out, ",\n");
        printField(out, "maxrss_kib", command, [](const Sample& s) { return s.maxrss; });
        std::fprintf(out, ",\n");
        printField(out, "faults", command, [](const Sample& s) { return s.faults; });
        std::fprintf(out, "}");
        separator = ",\n";
    }
    std::fprintf(out, "\n]}\n");
    require(std::fclose(out) == 0, path);
}

// The first processor that this process may use: a move between two would cost more than most
// of what is compared.
void stayOnOneProcessor() {
    cpu_set_t all;
    require(::sched_getaffinity(0, sizeof all, &all) == 0, "sched_getaffinity");
    int chosen = 0;
    while (!CPU_ISSET(chosen, &all)) {
        ++chosen;
    }
    cpu_set_t one;
    CPU_ZERO(&one);
    CPU_SET(chosen, &one);
    require(::sched_setaffinity(0, sizeof one, &one) == 0, "sched_setaffinity");
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 5) {
        fail("usage", "processes OUT.json ROUNDS LABEL PROGRAM ARGUMENT... [-- ...]");
    }
    require(::prctl(PR_SET_CHILD_SUBREAPER, 1) == 0, "prctl");
    stayOnOneProcessor();
    std::vector<Command> commands = parseCommands(argv + 3);
    runRounds(commands, std::strtol(argv[2], nullptr, 10));
    write(argv[1], commands);
    return 0;
}
