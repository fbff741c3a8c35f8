// Starts of services with memory refused, to the service process too.

#include <filesystem>
#include <string>

#include "tests/failures/memory/commands.h"

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

    // What the latest run left in the errors file. The next run finds none.
    static std::string takeErrors(const std::string& service_name) {
        const std::string path = "/tmp/zrckav_" + service_name + "_errors";
        const std::string errors = test::readFile(path);
        std::filesystem::remove(path);
        return errors;
    }

    // Whoever is told how the service ended finds its exit code in the errors file. With memory
    // refused to children, it may be empty or hold what cat's place said, and the code is 1 for
    // a child that could not become the program.
    void refuseForeground(const std::string& service_name, const std::string& code,
                          const test::Outcome& usual) {
        expectEffect_ = [=](const test::Invocation& run) {
            const bool told = run.status == 0 || run.out.ends_with("Service failed\n");
            const std::string errors = takeErrors(service_name);
            EXPECT_TRUE(errors == code || (!told && errors.empty())) << errors;
        };
        refuseCaller(foreground(service_name), usual);

        const test::Outcome neverRan = {"Error\nService failed\n", 1};
        expectEffect_ = [=](const test::Invocation& run) {
            const std::string errors = takeErrors(service_name);
            const bool unwritten = run.refused && (errors.empty() || errors == "Error\n");
            EXPECT_TRUE(unwritten || errors == (run.out == neverRan.out ? "1" : code))
                << errors;
        };
        refuseChildren(foreground(service_name), {usual, neverRan});
    }
};

TEST_F(RefusedStart, StartServiceInTheForeground) {
    for (const char* const name : {"keepup2date", "parse_avstat.pl"}) {
        refuseForeground(name, "0", {"", 0});
    }
}

TEST_F(RefusedStart, StartServiceThatFailsInTheForeground) {
    refuseForeground("failing", "1", {"Service failed\n", 1});
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
