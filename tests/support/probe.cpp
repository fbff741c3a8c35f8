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

#include <dirent.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <set>
#include <sstream>
#include <string>
#include <vector>

extern char** environ;

namespace {

using Words = std::vector<std::string>;

std::string escaped(const std::string& text) {
    std::string result;
    for (const char c : text) {
        if (c > ' ' && c < 127 && c != '%') {
            result += c;
        } else {
            char hex[4];
            std::snprintf(hex, sizeof hex, "%%%02X",
                          static_cast<unsigned>(static_cast<unsigned char>(c)));
            result += hex;
        }
    }
    return result;
}

std::string linkTarget(const std::string& path) {
    char target[4096];
    const ssize_t length = ::readlink(path.c_str(), target, sizeof target);
    return length < 0 ? std::string() : std::string(target, static_cast<std::size_t>(length));
}

// Taken as the first thing in main: whatever is opened later is not inherited.
std::string describeDescriptors() {
    std::ostringstream list;
    DIR* const directory = ::opendir("/proc/self/fd");
    if (directory == nullptr) {
        return {};
    }
    std::set<int> numbers;
    while (const dirent* const entry = ::readdir(directory)) {
        if (entry->d_name[0] != '.') {
            numbers.insert(std::atoi(entry->d_name));
        }
    }
    numbers.erase(::dirfd(directory));
    ::closedir(directory);
    for (const int number : numbers) {
        list << "fd " << number << ' '
             << escaped(linkTarget("/proc/self/fd/" + std::to_string(number))) << '\n';
    }
    return list.str();
}

std::string describeSignals() {
    std::ostringstream list;
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with("SigIgn:")) {
            list << "ignored " << line.substr(8) << '\n';
        } else if (line.starts_with("SigBlk:")) {
            list << "blocked " << line.substr(8) << '\n';
        }
    }
    return list.str();
}

std::string describe(char** argv, const std::string& descriptors) {
    std::ostringstream report;
    for (char** argument = argv; *argument != nullptr; ++argument) {
        report << "argv " << escaped(*argument) << '\n';
    }
    for (char** variable = environ; *variable != nullptr; ++variable) {
        report << "env " << escaped(*variable) << '\n';
    }
    const mode_t mask = ::umask(0);
    ::umask(mask);
    report << descriptors << "pid " << ::getpid() << "\nppid " << ::getppid() << "\npgid "
           << ::getpgrp() << "\nsid " << ::getsid(0) << "\nuid " << ::getuid() << "\numask "
           << std::oct << mask << std::dec << "\ncwd " << escaped(linkTarget("/proc/self/cwd"))
           << '\n'
           << describeSignals();
    return report.str();
}

void writeBytes(long long count) {
    const std::string block(4096, 'x');
    while (count > 0) {
        const auto length = static_cast<std::size_t>(count < 4096 ? count : 4096);
        const ssize_t written = ::write(STDOUT_FILENO, block.data(), length);
        if (written < 0) {
            std::exit(1);
        }
        count -= written;
    }
}

long long countInput() {
    long long count = 0;
    char chunk[4096];
    for (ssize_t length = 0; (length = ::read(STDIN_FILENO, chunk, sizeof chunk)) > 0;) {
        count += length;
    }
    return count;
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
        writeBytes(std::atoll(words.at(1).c_str()));
    } else if (verb == "both") {
        say(stdout, words.at(1) + "\n");
        say(stderr, words.at(2) + "\n");
    } else if (verb == "count") {
        say(stdout, std::to_string(countInput()));
    } else if (verb == "sleep") {
        ::usleep(static_cast<useconds_t>(std::atof(words.at(1).c_str()) * 1e6));
    } else if (verb == "exec") {
        ::execv(words.at(1).c_str(), argv);
        std::exit(126);
    } else {
        std::fprintf(stderr, "probe: no such verb: %s\n", verb.c_str());
        std::exit(125);
    }
}

std::string directoryOf(const std::string& path) { return path.substr(0, path.rfind('/')); }

// The nearest directory `record` above this program's own place.
std::string findRecord() {
    std::string directory = directoryOf(linkTarget("/proc/self/exe"));
    while (!directory.empty()) {
        if (::access((directory + "/record").c_str(), F_OK) == 0) {
            return directory + "/record";
        }
        directory = directoryOf(directory);
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
    appendLine(record + "/" + name + "." + std::to_string(::getpid()), report);

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
    const std::string report = describe(argv, describeDescriptors());
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
