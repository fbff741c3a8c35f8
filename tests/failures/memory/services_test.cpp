// The commands about running services with memory refused.

#include <string>

#include "tests/failures/memory/commands.h"

namespace {

using test::Arguments;

class RefusedServiceCommand : public test::RefusedCommand {};

TEST_F(RefusedServiceCommand, ServiceStarted) {
    const Arguments running = service("--service-started", "aveserver", host_.pidFile());
    refuseCaller(running, {"Service is started\n", 0});
    refuseChildren(running, {{"Service is started\n", 0}, {"Error\n", 1}});
}

TEST_F(RefusedServiceCommand, ServiceStartedWhenItIsNot) {
    refuseCaller(service("--service-started", "aveserver", host_.noPidFile()),
                 {"Service is not running\n", 1});
}

TEST_F(RefusedServiceCommand, KillService) {
    const Arguments running = service("--kill-service", "keepup2date", host_.pidFile());
    refuseCaller(running, {"", 0});
    refuseChildren(running, {{"", 0}, {"Error\n", 1}});
}

TEST_F(RefusedServiceCommand, KillServiceThatIsStopped) {
    refuseCaller(service("--kill-service", "keepup2date", host_.noPidFile()),
                 {"Service is stopped already\n", 1});
}

TEST_F(RefusedServiceCommand, StartServiceThatRuns) {
    refuseCaller(service("--start-service", "aveserver", host_.pidFile()),
                 {"Service is running already\n", 1});
}

TEST_F(RefusedServiceCommand, RestartServiceThatRuns) {
    const Arguments running = service("--restart-service", "keepup2date", host_.pidFile());
    refuseCaller(running, {"", 0});
    refuseChildren(running, {{"", 0}, {"Error\n", 1}});
}

TEST_F(RefusedServiceCommand, ReloadServiceThatRuns) {
    const Arguments running = service("--restart-service", "aveserver", host_.pidFile());
    refuseCaller(running, {"", 0});
    refuseChildren(running, {{"", 0}, {"Error\n", 1}});
}

}  // namespace
