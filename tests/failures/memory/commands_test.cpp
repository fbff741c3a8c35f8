// The commands of the manager on a stand-in server tree, with memory refused to the process
// that runs one, or to those that it forks, the service's process too.

#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <regex>
#include <set>

#include "manager/front_end.h"
#include "tests/failures/memory/refusal.h"
#include "tests/support/capture.h"

// The pause after a reload would only make the test slow: nothing here can happen during it.
// The linker gives the product this one (--wrap).
extern "C" unsigned __wrap_sleep(unsigned seconds);
extern "C" unsigned __wrap_sleep(unsigned /*seconds*/) { return 0; }

namespace {

using test::Attempt;
using test::readFile;
using test::writeFile;
using Arguments = std::vector<std::string>;

// Without what the configuration module may say, which every command goes on after.
std::string withoutConfiguration(const std::string& text) {
    static const std::regex report(
        "(Not enough memory to allocate Zarnic [^\n]*\n\nSystem error 12: [^\n]*|"
        "Can't allocate memory for error message)\n");
    return std::regex_replace(text, report, "");
}

class RefusedCommand : public testing::Test {
  protected:
    // Every process of a command comes to this one in the end. It is the running service, too,
    // which is deaf.
    RefusedCommand() {
        ::prctl(PR_SET_CHILD_SUBREAPER, 1);
        static_cast<void>(::signal(SIGTERM, SIG_IGN));
        static_cast<void>(::signal(SIGHUP, SIG_IGN));
        writeFile(running, std::to_string(::getpid()));
        writeFile("/etc/zrc/zrc.conf", "PRODUCT_ROOT_D /opt/product\n");
        std::filesystem::create_directory(dir / "bin");
        for (const std::string name : {"aveserver", "keepup2date", "parse_avstat.pl"}) {
            std::filesystem::create_symlink("/bin/true", dir / "bin/" + name);
        }
        std::filesystem::create_symlink("/bin/false", dir / "bin/failing");
    }

    // What a command printed, its status, and what is in its file, its configuration and the
    // errors file of its service in the end: "Error\n1 new,old,". The status of std::bad_alloc
    // is 78. No process may end by a signal.
    std::string run(const Attempt& attempt, const Arguments& arguments) const {
        writeFile(file, "new");
        writeFile(config, "old");
        std::vector<const char*> argv = {"avmanager"};
        for (const std::string& argument : arguments) {
            argv.push_back(argument.c_str());
        }
        const int argc = static_cast<int>(argv.size());
        argv.push_back(nullptr);
        const test::Captured child = test::inChild([&] {
            int status = 0;
            const auto command = [&] { status = runCommandLine(argc, argv.data()); };
            std::exit(attempt.run(command) ? 78 : status);
        });
        EXPECT_TRUE(WIFEXITED(child.status)) << child.status << child.err;
        EXPECT_EQ(withoutConfiguration(child.err), "");
        for (siginfo_t orphan{}; ::waitid(P_ALL, 0, &orphan, WEXITED) == 0;) {
            EXPECT_EQ(orphan.si_code, CLD_EXITED) << orphan.si_status;
        }
        std::string end = withoutConfiguration(child.out) +
                          std::to_string(WEXITSTATUS(child.status)) + " " + readFile(file) +
                          "," + readFile(config) + ",";
        for (const std::string name : {"keepup2date", "parse_avstat.pl", "failing"}) {
            end += readFile("/tmp/zrckav_" + name + "_errors");
            std::filesystem::remove("/tmp/zrckav_" + name + "_errors");
        }
        return end;
    }

    Arguments service(const char* command, const char* name, const std::string& pidFile) const {
        return {std::string("--") + command, "--kav-dir=" + dir.path(),
                std::string("--service=") + name, "--service-pidfile=" + pidFile};
    }

    Arguments foreground(const char* name) const {
        Arguments arguments = service("start-service", name, stopped);
        arguments.insert(arguments.end(), {"--no-daemon=1", "--config-file=" + config});
        return arguments;
    }

    const test::TempDir dir;
    const std::string file = dir / "file";
    const std::string config = dir / "config";
    const std::string running = dir / "pid-file-of-a-running-service";
    const std::string stopped = dir / "pid-file-of-a-stopped-service";
};

// A command does what it always does, or says "Error" and has changed nothing. Only what is
// refused before there is a parser comes out as std::bad_alloc.
TEST_F(RefusedCommand, DoesWhatItAlwaysDoesOrSaysError) {
    const std::string error = "Error\n1 new,old,";
    // The service's process never ran: its errors file has what cat's place said, or the code.
    const std::set<std::string> neverRan = {"Error\nService failed\n1 new,old,Error\n",
                                            "Error\nService failed\n1 new,old,1"};
    const struct {
        Arguments arguments;
        std::string usual;
        std::set<std::string> children{};  // when memory is refused to those that it forks
        std::string late{};                // when it is refused after the change
    } rows[] = {
        {{}, "0 new,old,"},
        {{"--help"}, "0 new,old,"},
        {{"-h"}, "0 new,old,"},
        {{"--an-unknown-option-with-a-long-name"},
         "Unknown option '--an-unknown-option-with-a-long-name'\n1 new,old,"},
        {{"--check-install"}, "Requires long option '--kav-dir'\n1 new,old,"},
        {{"--check-install", "--kav-dir=" + dir.path()},
         "Kaspersky Anti-Virus server is installed\n0 new,old,"},
        {{"--check-install", "--kav-dir=/no/such/directory/at/all"},
         "Kaspersky Anti-Virus server is not installed\n1 new,old,"},
        {service("service-started", "aveserver", stopped),
         "Service is not running\n1 new,old,"},
        {service("kill-service", "keepup2date", stopped),
         "Service is stopped already\n1 new,old,"},
        {service("start-service", "aveserver", running),
         "Service is running already\n1 new,old,"},
        {service("service-started", "aveserver", running),
         "Service is started\n0 new,old,",
         {error}},
        {service("kill-service", "keepup2date", running), "0 new,old,", {error}},
        {service("restart-service", "aveserver", running), "0 new,old,", {error}},
        {service("restart-service", "keepup2date", running),
         "0 new,old,0",
         {error, "0 new,old,"}},
        {service("restart-service", "keepup2date", stopped), "0 new,old,0", {"0 new,old,"}},
        {service("start-service", "keepup2date", stopped), "0 new,old,0", {"0 new,old,"}},
        {foreground("keepup2date"), "0 new,old,0", neverRan},
        {foreground("parse_avstat.pl"), "0 new,old,0", neverRan},
        {foreground("failing"), "Service failed\n1 new,old,1", neverRan},
        {{"--delete-file", "--file=" + file}, "0 ,old,"},
        {{"--config-file-content", "--file=" + file}, "new0 new,old,", {"Error\n0 new,old,"}},
        {{"--save-to-config-file", "--file=" + file, "--config-file=" + config},
         "0 new,new,",
         {"Error\nError\n0 new,old,"},
         "Error\n1 new,new,"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::PrintToString(row.arguments));
        int thrown = 0;
        bool parserExists = false;
        test::forEveryRefusal([&](Attempt& attempt) {
            const std::string end = run(attempt, row.arguments);
            const bool refused = attempt.refused();
            if (refused && !parserExists && end == "78 new,old,") {
                ++thrown;
                return;
            }
            EXPECT_TRUE(end == row.usual || (refused && (end == error || end == row.late)))
                << end;
            parserExists = refused;
        });
        EXPECT_GT(thrown, 0) << "the making of the parser is answered for";
        const auto ofChildren = [&](Attempt& attempt) {
            const std::string end = run(attempt, row.arguments);
            EXPECT_TRUE(end == row.usual || (attempt.refused() && row.children.contains(end)))
                << end;
        };
        if (!row.children.empty()) {
            test::forEveryRefusal(ofChildren, test::Refused::children);
        }
    }
}

}  // namespace
