#include "tests/support/probe_report.h"

#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <set>
#include <sstream>

#include "tests/support/escaped.h"

extern char** environ;

using test::escaped;

namespace probe {

namespace {

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

}  // namespace

std::string linkTarget(const std::string& path) {
    char target[4096];
    const ssize_t length = ::readlink(path.c_str(), target, sizeof target);
    return length < 0 ? std::string() : std::string(target, static_cast<std::size_t>(length));
}

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

}  // namespace probe
