#include <sys/stat.h>
#include <unistd.h>

#include <initializer_list>

#include "manager/answer.h"
#include "manager/commands.h"
#include "manager/preamble.h"
#include "zarnic/sys/exec.h"

using zarnic::sys::el;
using zarnic::sys::TEArgs;
using zarnic::sys::TExec;

namespace {

// Runs one of the system's tools to its end. Its exit code is deliberately not examined.
//
// Where the tool cannot be started, the child throws and leaves through its own copy of the
// front end, while this process goes on.
void runTool(std::initializer_list<std::string> arguments) {
    TEArgs args(el);
    for (const std::string& argument : arguments) {
        args << argument;
    }
    TExec(args).run();
}

// True of anything that is there. False also when it cannot be queried (docs/deliberate.md).
bool exists(const std::string& path) {
    struct stat status;
    return ::stat(path.c_str(), &status) == 0;
}

}  // namespace

bool checkInstall(zarnic::opt::TOParsing parser) {
    const std::string kavDir = requiredValue(parser, "kav-dir");
    finishPreamble(parser);

    if (!exists(kavDir + "/bin/aveserver")) {
        throw TUError("Kaspersky Anti-Virus server is not installed");
    }
    answer("Kaspersky Anti-Virus server is installed");
    return true;
}

bool deleteFile(zarnic::opt::TOParsing parser) {
    const std::string file = requiredValue(parser, "file");
    finishPreamble(parser);

    // The result is deliberately ignored: a file that is not there, or that cannot be removed,
    // is not reported.
    static_cast<void>(::unlink(file.c_str()));
    return true;
}

bool configFileContent(zarnic::opt::TOParsing parser) {
    const std::string file = requiredValue(parser, "file");
    finishPreamble(parser);

    // Deliberate: a file that is not there has no content, which is not an error. Without this
    // look, cat would report it on standard error.
    if (exists(file)) {
        runTool({"cat", file});
    }
    return true;
}

bool saveToConfigFile(zarnic::opt::TOParsing parser) {
    const std::string file = requiredValue(parser, "file");
    const std::string configFile = requiredValue(parser, "config-file");
    finishPreamble(parser);

    // Deliberate: neither exit code is examined and chown runs whatever became of cp. The tools
    // say on standard error what went wrong.
    runTool({"cp", file, configFile});
    runTool({"chown", "root", configFile});
    return true;
}
