#include <sys/stat.h>

#include "manager/commands.h"
#include "manager/preamble.h"
#include "zarnic/sys/exec.h"

using zarnic::sys::el;
using zarnic::sys::TEArgs;
using zarnic::sys::TExec;

bool configFileContent(zarnic::opt::TOParsing parser) {
    const std::string file = requiredValue(parser, "file");
    finishPreamble(parser);

    struct stat status;
    // Deliberate: a file that is not there has no content, which is not an error.
    if (::stat(file.c_str(), &status) == 0) {
        TExec(TEArgs(el) << "cat" << file).run();
    }
    return true;
}

bool saveToConfigFile(zarnic::opt::TOParsing parser) {
    const std::string file = requiredValue(parser, "file");
    const std::string configFile = requiredValue(parser, "config-file");
    finishPreamble(parser);

    // Deliberate: neither exit code is examined and chown runs whatever became of cp. The tools
    // say on standard error what went wrong.
    TExec(TEArgs(el) << "cp" << file << configFile).run();
    TExec(TEArgs(el) << "chown"
                     << "root" << configFile)
        .run();
    return true;
}
