// The pause of a reload, with a sleep that a signal seems to cut short.

#include <iostream>

#include "manager/commands.h"
#include "tests/unit/manager/service_runs.h"

// The linker gives the product this one (--wrap).
extern "C" unsigned __wrap_sleep(unsigned seconds);
extern "C" unsigned __wrap_sleep(unsigned seconds) {
    std::cout << "sleep " << seconds << std::endl;
    return seconds - 1;
}

namespace {

class ReloadPause : public test::ServiceTest {};

// No process has this number: SIGHUP fails, and that is told only by the probe after the pause.
TEST_F(ReloadPause, IsFiveSecondsOnceAlsoWhenItIsCutShortAndTheSignalFailed) {
    const test::Outcome outcome =
        test::handle(host, restartService,
                     {"--kav-dir=" + host.kav(), "--service=aveserver",
                      "--service-pidfile=" + host.file("pid", "2147483647\n")});
    EXPECT_EQ(outcome.status, test::threw);
    EXPECT_EQ(outcome.out, "sleep 5\nTUError: Service reloading failed\n");
}

}  // namespace
