#include <sys/stat.h>

#include "manager/answer.h"
#include "manager/commands.h"
#include "manager/preamble.h"

bool checkInstall(zarnic::opt::TOParsing parser) {
    const std::string kavDir = requiredValue(parser, "kav-dir");
    finishPreamble(parser);

    struct stat status;
    const std::string server = kavDir + "/bin/aveserver";
    if (::stat(server.c_str(), &status) != 0) {
        throw TUError("Kaspersky Anti-Virus server is not installed");
    }
    answer("Kaspersky Anti-Virus server is installed");
    return true;
}
