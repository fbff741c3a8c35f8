#include "tests/unit/manager/host.h"

#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <sstream>

#include "manager/front_end.h"

namespace test {

namespace fs = std::filesystem;

namespace {

int plain(int status) {
    return WIFEXITED(status) ? WEXITSTATUS(status) : 1000 + WTERMSIG(status);
}

// Waits until this process, which adopts what others leave, has no child left.
std::string waitForAll(pid_t first) {
    std::ostringstream own;
    std::ostringstream others;
    int status = 0;
    for (pid_t pid = 0; (pid = ::waitpid(-1, &status, 0)) > 0;) {
        (pid == first ? own : others) << plain(status) << '\n';
    }
    return own.str() + others.str();
}

int answerOf(const std::function<bool()>& handler) {
    try {
        return handler() ? answered_true : answered_false;
    } catch (const TUError& error) {
        std::cout << "TUError: " << error.message() << std::endl;
    } catch (const zarnic::opt::TOParsing::TPError& error) {
        std::cout << "TPError: " << error.message() << std::endl;
    } catch (const zarnic::TError& error) {
        std::cout << "TError: " << error.message() << std::endl;
    } catch (const std::exception& error) {
        std::cout << "other: " << error.what() << std::endl;
    }
    return threw;
}

std::vector<const char*> argvOf(const Words& words) {
    std::vector<const char*> argv;
    for (const std::string& word : words) {
        argv.push_back(word.c_str());
    }
    argv.push_back(nullptr);
    return argv;
}

}  // namespace

Host::Host() {
    for (const char* const made : {"path", "kav/bin", "record"}) {
        fs::create_directories(dir_ / made);
    }
    for (const char* const tool : {"cat", "cp", "chown"}) {
        fs::copy_file(PROBE_PATH, dir_ / "path/" + tool);
    }
    for (const char* const program : {"aveserver", "keepup2date", "parse_avstat.pl", "other"}) {
        addProgram(program);
    }
}

std::string Host::file(const std::string& name, const std::string& content) const {
    writeFile(dir_ / name, content);
    return dir_ / name;
}

void Host::act(const std::string& name, const std::string& steps) const {
    writeFile(dir_ / "record/" + name + ".act", steps);
}

void Host::script(const std::string& name, const std::string& text) const {
    const std::string path = file(name + ".sh", "#!/bin/sh\n" + text);
    fs::permissions(path, fs::perms::owner_all);
    act(name, "exec " + path);
}

void Host::remove(const std::string& name) const {
    fs::remove(dir_ / "path/" + name);
    fs::remove(dir_ / "kav/bin/" + name);
}

void Host::addProgram(const std::string& name) const {
    fs::copy_file(PROBE_PATH, dir_ / "kav/bin/" + name);
}

void Host::enter() const {
    ::setenv("PATH", (dir_ / "path").c_str(), 1);
    ::setenv("LC_ALL", "C", 1);
}

Words Host::calls() const {
    Words lines;
    std::istringstream text(readFile(dir_ / "record/calls"));
    for (std::string line; std::getline(text, line);) {
        lines.push_back(line);
    }
    return lines;
}

int Host::calls(const std::string& name) const {
    const Words all = calls();
    return static_cast<int>(std::count_if(all.begin(), all.end(), [&](const std::string& call) {
        return call.substr(0, call.find(' ')) == name;
    }));
}

std::string Host::report(const std::string& name) const {
    std::string found;
    for (const auto& entry : fs::directory_iterator(dir_ / "record")) {
        const std::string file = entry.path().filename();
        if (file.starts_with(name + ".") && file != name + ".act") {
            found += readFile(entry.path());
        }
    }
    return found;
}

Outcome settled(const std::function<void()>& body) {
    const TempDir dir;
    const Captured captured = inChild(
        [&] {
            ::prctl(PR_SET_CHILD_SUBREAPER, 1);
            const pid_t pid = ::fork();
            if (pid == 0) {
                body();
                std::exit(0);
            }
            writeFile(dir / "ends", waitForAll(pid));
        },
        60);
    Outcome outcome{-1, {}, captured.out, captured.err};
    std::istringstream ends(readFile(dir / "ends"));
    ends >> outcome.status;
    for (int status = 0; ends >> status;) {
        outcome.orphans.push_back(status);
    }
    std::sort(outcome.orphans.begin(), outcome.orphans.end());
    return outcome;
}

Outcome command(const Host& host, const Words& arguments) {
    return settled([&] {
        host.enter();
        Words words = arguments;
        words.insert(words.begin(), "avmanager");
        std::exit(runCommandLine(static_cast<int>(words.size()), argvOf(words).data()));
    });
}

Outcome handle(const Host& host, CommandHandler handler, const Words& arguments) {
    return settled([&] {
        host.enter();
        const zarnic::opt::TOParsing parser = parserOf(arguments);
        std::exit(answerOf([&] { return handler(parser); }));
    });
}

zarnic::opt::TOParsing parserOf(Words arguments) {
    arguments.insert(arguments.begin(), "avmanager");
    return {argvOf(arguments).data(), static_cast<int>(arguments.size())};
}

std::string errorsFile(const std::string& service) {
    return "/tmp/zrckav_" + service + "_errors";
}

}  // namespace test
