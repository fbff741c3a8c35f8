// Starts of services with memory refused, to the service process too.

#include <string>

#include "tests/memory/commands.h"

namespace {

using test::Arguments;

class RefusedStart : public test::RefusedCommand {
  protected:
    Arguments foreground(const std::string& service_name) const {
        Arguments arguments = service("--start-service", service_name, host_.noPidFile());
        arguments.push_back("--no-daemon=1");
        arguments.push_back("--config-file=" + host_.config());
        return arguments;
    }
};

TEST_F(RefusedStart, StartServiceInTheForeground) {
    for (const char* const name : {"keepup2date", "parse_avstat.pl"}) {
        refuseCaller(foreground(name), {"", 0});
        refuseChildren(foreground(name), {{"", 0}, {"Error\nService failed\n", 1}});
    }
}

TEST_F(RefusedStart, StartServiceThatFailsInTheForeground) {
    refuseCaller(foreground("failing"), {"Service failed\n", 1});
    refuseChildren(foreground("failing"),
                   {{"Service failed\n", 1}, {"Error\nService failed\n", 1}});
}

TEST_F(RefusedStart, StartServiceAsADaemon) {
    const Arguments stopped = service("--start-service", "aveserver", host_.noPidFile());
    refuseCaller(stopped, {"", 0});
    refuseChildren(stopped, {{"", 0}});
}

TEST_F(RefusedStart, RestartServiceThatIsStopped) {
    const Arguments stopped = service("--restart-service", "keepup2date", host_.noPidFile());
    refuseCaller(stopped, {"", 0});
    refuseChildren(stopped, {{"", 0}});
}

}  // namespace
