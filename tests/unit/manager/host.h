// A host for the manager's code, as far as it can see one: a search path and a server tree of
// stand-ins that record how they are called, and the means to run code against them until every
// process that it leaves has ended.

#pragma once

#include <functional>
#include <string>
#include <vector>

#include "manager/manager.h"
#include "tests/support/capture.h"

namespace test {

using Words = std::vector<std::string>;

// The stand-ins cat, cp and chown, and the server's programs aveserver, keepup2date,
// parse_avstat.pl and other. What they can be told is said at the head of the probe.
class Host {
  public:
    Host();

    // The path of a name in the host's directory, and the server's directory.
    std::string operator/(const std::string& name) const { return dir_ / name; }
    std::string kav() const { return dir_ / "kav"; }

    // Makes a file in the host's directory; returns its path.
    std::string file(const std::string& name, const std::string& content = "") const;

    // Tells a stand-in what to do, in the probe's verbs or as a shell script.
    void act(const std::string& name, const std::string& steps) const;
    void script(const std::string& name, const std::string& text) const;

    // Takes a stand-in away, or makes one of any name among the server's programs.
    void remove(const std::string& name) const;
    void addProgram(const std::string& name) const;

    // Makes the stand-ins this process's search path. In children only.
    void enter() const;

    // The calls so far, one text of name and arguments for each, escaped as the probe does; and
    // the number of them that were calls of `name`.
    Words calls() const;
    int calls(const std::string& name) const;

    // What the only call of a stand-in was started with: the probe's report.
    std::string report(const std::string& name) const;

  private:
    TempDir dir_;
};

// How a process and the ones that it left behind ended, and what all of them wrote.
struct Outcome {
    int status;                // exit status, or 1000 and the signal
    std::vector<int> orphans;  // the same of the others, ascending
    std::string out;
    std::string err;
};

// Runs `body` in a process of its own and waits for every process that comes of it. A body that
// returns ends with 0.
Outcome settled(const std::function<void()>& body);

// Runs the whole program on the arguments that follow its name.
Outcome command(const Host& host, const Words& arguments);

// Runs one handler on a command line of these arguments. It ends with `answered_true` or
// `answered_false`, or writes the class of what it threw and its message and ends with `threw`.
constexpr int answered_true = 40;
constexpr int answered_false = 41;
constexpr int threw = 42;
Outcome handle(const Host& host, CommandHandler handler, const Words& arguments);

// A parser of the arguments that follow the program's name.
zarnic::opt::TOParsing parserOf(Words arguments);

// The errors file's path of a service.
std::string errorsFile(const std::string& service);

}  // namespace test
