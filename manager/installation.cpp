#include <sys/stat.h>

#include "manager/answer.h"
#include "manager/commands.h"
#include "manager/preamble.h"

bool checkInstall(zarnic::opt::TOParsing parser) {
    const std::string kavDir = requiredValue(parser, "kav-dir");
    finishPreamble(parser);

    struct stat status;
    const std::string server = kavDir + "/bin/aveserver";
    // Deliberately no look at what it is, nor at why it cannot be queried (docs/deliberate.md).
    if (::stat(server.c_str(), &status) != 0) {
        throw TUError("Kaspersky Anti-Virus server is not installed");
    }
    answer("Kaspersky Anti-Virus server is installed");
    return true;
}
