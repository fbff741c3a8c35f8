// What every command but help does before it acts: claim its value options in its own order,
// refuse what nobody claimed, load the panel configuration.
//
//   const std::string file = requiredValue(parser, "file");
//   const std::string pidFile = optionalValue(parser, "service-pidfile");
//   finishPreamble(parser);

#pragma once

#include <string>

#include "zarnic/opt/parsing.h"

// The value of an option that must be there with one. Throws the parser's TNoLOpt or TBadLOpt.
std::string requiredValue(zarnic::opt::TOParsing& parser, const std::string& name);

// The value of an option, empty when it is absent or has none.
std::string optionalValue(zarnic::opt::TOParsing& parser, const std::string& name);

// Runs the parser's final check, which throws for an unknown option, and loads the panel
// configuration, whose outcome is deliberately ignored: no command reads a panel variable, and
// a broken configuration must not keep an administrator from stopping a server.
void finishPreamble(zarnic::opt::TOParsing& parser);
