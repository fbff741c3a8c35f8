#include "manager/preamble.h"

#include "zarnic/conf/autoprepend.h"

using zarnic::opt::TOParsing;

std::string requiredValue(TOParsing& parser, const std::string& name) {
    std::string value;
    // The query's result ends at the semicolon, and throws there for an option that is missing
    // or has no value.
    parser.lopt(name, zarnic::opt::req_arg) >> value;
    return value;
}

std::string optionalValue(TOParsing& parser, const std::string& name) {
    std::string value;
    const TOParsing::TResult query = parser.lopt(name, zarnic::opt::req_arg);
    query >> value;
    // Before the query's result ends, which would throw. Also claims an option without a value,
    // which the final check would refuse otherwise.
    parser.clear();
    return value;
}

void finishPreamble(TOParsing& parser) {
    // First: a wrong command line must end the command before it has touched any file.
    parser.check();
    static_cast<void>(zrcConfInit());
}
