// A program that tells what it was started with, and acts as told. It links nothing of the
// product, so that the tests never rest on what they test.
//
// Called as `probe VERB ...`:
//   args ARG...    prints each argument on a line
//   report         prints the report described below
//   exit N         exits with N
//   die SIGNAL     ends by that signal
//   stop           stops itself by SIGSTOP, and exits with 0 when continued
//   write N        writes N bytes
//   both OUT ERR   writes a line to each standard stream
//   count          prints the number of bytes on standard input
//   sleep SECONDS  sleeps, then exits with 0
//   serve FILE [remove]
//                  writes its pid into FILE, prints "HUP" for every SIGHUP, and on SIGTERM
//                  removes FILE if so told, prints "TERM" and exits with 0
//
// Under any other name it stands in for the program of that name. It looks for a directory
// `record` beside its own directory or above it, and there
//   - appends its name and arguments as one line to `calls`;
//   - writes its report to `NAME.PID`;
//   - acts as the line in the file `NAME.act` says: a verb above with its arguments, several
//     being separated by ";", or `exec PATH` for the program itself. Without that file it is
//     the system's own /bin/NAME where there is one, and else `exit 0`.
//
// A report is lines of a key, a blank and a value: argv, env, fd (number and target), pid,
// ppid, pgid, sid, uid, umask, cwd, ignored and blocked (signal masks in hexadecimal). Bytes
// outside printable ASCII, and "%", are written as %XX.

#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

#include "tests/support/escaped.h"

namespace {

using test::escaped;
using Words = std::vector<std::string>;

// Empty when it cannot be read.
std::string linkTarget(const std::string& path) {
    std::error_code ignored;
    return std::filesystem::read_symlink(path, ignored).string();
}

// The report, with the descriptors first: whatever is opened later is not inherited.
std::string describe(char** argv) {
    std::ostringstream report;
    for (int number = 0; number < 1024; ++number) {
        if (::fcntl(number, F_GETFD) >= 0) {
            report << "fd " << number << ' '
                   << escaped(linkTarget("/proc/self/fd/" + std::to_string(number))) << '\n';
        }
    }
    for (char** argument = argv; *argument != nullptr; ++argument) {
        report << "argv " << escaped(*argument) << '\n';
    }
    for (char** variable = environ; *variable != nullptr; ++variable) {
        report << "env " << escaped(*variable) << '\n';
    }
    const mode_t mask = ::umask(0);
    ::umask(mask);
    report << "pid " << ::getpid() << "\nppid " << ::getppid() << "\npgid " << ::getpgrp()
           << "\nsid " << ::getsid(0) << "\nuid " << ::getuid() << "\numask " << std::oct
           << mask << std::dec << "\ncwd " << escaped(linkTarget("/proc/self/cwd")) << '\n';
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with("SigIgn:")) {
            report << "ignored " << line.substr(8) << '\n';
        } else if (line.starts_with("SigBlk:")) {
            report << "blocked " << line.substr(8) << '\n';
        }
    }
    return report.str();
}

std::string fileToRemove;

void onSignal(int signal) {
    const char* const text = signal == SIGHUP ? "HUP\n" : "TERM\n";
    if (signal == SIGTERM && !fileToRemove.empty()) {
        ::unlink(fileToRemove.c_str());
    }
    if (::write(STDOUT_FILENO, text, std::strlen(text)) < 0 || signal == SIGTERM) {
        ::_exit(0);
    }
}

// The pid file appears by a rename: whoever sees it reads a whole number.
[[noreturn]] void serve(const std::string& pidFile, bool remove) {
    fileToRemove = remove ? pidFile : std::string();
    ::signal(SIGHUP, onSignal);
    ::signal(SIGTERM, onSignal);
    std::ofstream(pidFile + ".new") << ::getpid() << '\n';
    std::rename((pidFile + ".new").c_str(), pidFile.c_str());
    for (;;) {
        ::pause();
    }
}

void say(FILE* stream, const std::string& text) {
    std::fputs(text.c_str(), stream);
    std::fflush(stream);
}

// One verb with its arguments. Returns when there may be more to do.
void act(const Words& words, char** argv, const std::string& report) {
    const std::string& verb = words.at(0);
    if (verb == "args") {
        for (std::size_t i = 1; i < words.size(); ++i) {
            say(stdout, words[i] + "\n");
        }
    } else if (verb == "report") {
        say(stdout, report);
    } else if (verb == "exit") {
        std::exit(std::atoi(words.at(1).c_str()));
    } else if (verb == "die") {
        const int signal = std::atoi(words.at(1).c_str());
        ::signal(signal, SIG_DFL);
        ::raise(signal);
    } else if (verb == "stop") {
        ::raise(SIGSTOP);
    } else if (verb == "write") {
        say(stdout, std::string(std::stoul(words.at(1)), 'x'));
        if (std::ferror(stdout) != 0) {
            std::exit(1);
        }
    } else if (verb == "both") {
        say(stdout, words.at(1) + "\n");
        say(stderr, words.at(2) + "\n");
    } else if (verb == "count") {
        const std::istreambuf_iterator<char> input(std::cin);
        say(stdout, std::to_string(std::distance(input, {})));
    } else if (verb == "sleep") {
        ::usleep(static_cast<useconds_t>(std::atof(words.at(1).c_str()) * 1e6));
    } else if (verb == "serve") {
        serve(words.at(1), words.size() > 2);
    } else if (verb == "exec") {
        ::execv(words.at(1).c_str(), argv);
        std::exit(126);
    } else {
        std::fprintf(stderr, "probe: no such verb: %s\n", verb.c_str());
        std::exit(125);
    }
}

// The nearest directory `record` above this program's own place.
std::string findRecord() {
    const std::filesystem::path place = linkTarget("/proc/self/exe");
    std::error_code ignored;
    for (auto above = place.parent_path(); above.has_relative_path();
         above = above.parent_path()) {
        if (std::filesystem::exists(above / "record", ignored)) {
            return above / "record";
        }
    }
    std::fprintf(stderr, "probe: no record directory\n");
    std::exit(125);
}

// One write, so that the lines of programs that run together do not mix.
void appendLine(const std::string& path, const std::string& line) {
    const int file = ::open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0666);
    if (file < 0 || ::write(file, line.data(), line.size()) < 0) {
        std::perror("probe: record");
        std::exit(125);
    }
    ::close(file);
}

void standIn(const std::string& name, char** argv, const std::string& report) {
    const std::string record = findRecord();
    std::string call = name;
    for (char** argument = argv + 1; *argument != nullptr; ++argument) {
        call += ' ' + escaped(*argument);
    }
    appendLine(record + "/calls", call + '\n');
    // By a rename: whoever sees the report reads the whole of it.
    const std::string pid = std::to_string(::getpid());
    appendLine(record + "/new." + pid, report);
    std::rename((record + "/new." + pid).c_str(), (record + "/" + name + "." + pid).c_str());

    std::ifstream script(record + "/" + name + ".act");
    if (!script && ::access(("/bin/" + name).c_str(), X_OK) == 0) {
        act({"exec", "/bin/" + name}, argv, report);
    }
    for (std::string step; std::getline(script, step, ';');) {
        std::istringstream line(step);
        Words words;
        for (std::string word; line >> word;) {
            words.push_back(word);
        }
        if (!words.empty()) {
            act(words, argv, report);
        }
    }
}

}  // namespace

int main(int argc, char** argv) {
    const std::string report = describe(argv);
    const char* const slash = std::strrchr(argv[0], '/');
    const std::string name = slash == nullptr ? argv[0] : slash + 1;
    if (name != "probe") {
        standIn(name, argv, report);
        return 0;
    }
    if (argc < 2) {
        std::fprintf(stderr, "usage: probe VERB [ARGUMENT...]\n");
        return 125;
    }
    act(Words(argv + 1, argv + argc), argv, report);
    return 0;
}
