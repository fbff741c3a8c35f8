#include "manager/preamble.h"

#include "zarnic/conf/autoprepend.h"

using zarnic::opt::TOParsing;

std::string requiredValue(TOParsing& parser, const std::string& name) {
    std::string value;
    parser.lopt(name, zarnic::opt::req_arg) >> value;
    return value;
}

std::string optionalValue(TOParsing& parser, const std::string& name) {
    std::string value;
    const TOParsing::TResult query = parser.lopt(name, zarnic::opt::req_arg);
    query >> value;
    // Before the query is released, which would raise its absence.
    parser.clear();
    return value;
}

void finishPreamble(TOParsing& parser) {
    parser.check();
    static_cast<void>(zrcConfInit());
}
