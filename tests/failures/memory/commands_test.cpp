// The commands of the manager on a stand-in server tree, with memory refused to the process
// that runs one or to those that it forks, the service's process too.

#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

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

constexpr int thrown_status = 78;

// Deaf from its first moment on: the signals are ignored before it exists.
pid_t startService() {
    auto* const terminate = ::signal(SIGTERM, SIG_IGN);
    auto* const hangUp = ::signal(SIGHUP, SIG_IGN);
    const pid_t service = ::fork();
    if (service == 0) {
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        for (;;) {
            ::pause();
        }
    }
    static_cast<void>(::signal(SIGTERM, terminate));
    static_cast<void>(::signal(SIGHUP, hangUp));
    return service;
}

bool onlyChild(pid_t service) {
    const std::string list = "/proc/self/task/" + std::to_string(::getpid()) + "/children";
    return readFile(list) == std::to_string(service) + " ";
}

// Everything but the service, which goes on; false when one was ended by a signal, or the
// service itself ended.
bool reapOrphans(pid_t service) {
    bool clean = true;
    while (!onlyChild(service)) {
        siginfo_t info{};
        if (::waitid(P_ALL, 0, &info, WEXITED) != 0) {
            return false;
        }
        clean = clean && info.si_code == CLD_EXITED && info.si_pid != service;
    }
    return clean;
}

// How an invocation, with all the processes that it left behind, ended.
struct Invocation {
    bool thrown;  // std::bad_alloc came out of runCommandLine
    int status;   // else its result
    std::string out;
    std::string err;
    bool signalled;  // some process was ended by a signal
    bool refused;    // memory was refused to some process
};

// The folder that the commands work on. The process that every pid file names ignores the
// signals that it is sent.
class Host {
  public:
    Host() {
        ::prctl(PR_SET_CHILD_SUBREAPER, 1);
        std::filesystem::create_directory(dir_ / "bin");
        for (const char* const name : {"aveserver", "keepup2date", "parse_avstat.pl"}) {
            std::filesystem::create_symlink("/bin/true", dir_ / "bin/" + name);
        }
        std::filesystem::create_symlink("/bin/false", dir_ / "bin/failing");
        writeFile(pid_file, std::to_string(service_) + "\n");
        writeFile("/etc/zrc/zrc.conf", "PRODUCT_ROOT_D /opt/product\n");
    }
    ~Host() {
        ::kill(service_, SIGKILL);
        ::waitpid(service_, nullptr, 0);
    }
    Host(const Host&) = delete;
    Host& operator=(const Host&) = delete;

    bool serviceLives() const { return ::waitpid(service_, nullptr, WNOHANG) == 0; }

    // Makes the files anew, runs the command in a child of its own and waits for every process
    // of it.
    Invocation run(const Attempt& attempt, const Arguments& arguments) const {
        writeFile(file, "content\n");
        writeFile(config, "old\n");
        std::vector<const char*> argv = {"avmanager"};
        for (const std::string& argument : arguments) {
            argv.push_back(argument.c_str());
        }
        argv.push_back(nullptr);
        const int argc = static_cast<int>(argv.size()) - 1;
        const test::Captured child = test::inChild([&] {
            int status = 0;
            const bool thrown =
                attempt.run([&] { status = runCommandLine(argc, argv.data()); });
            std::exit(thrown ? thrown_status : status);
        });
        const int status = WIFEXITED(child.status) ? WEXITSTATUS(child.status) : -1;
        const bool clean = reapOrphans(service_) && !WIFSIGNALED(child.status);
        return {status == thrown_status, status, child.out, child.err, !clean,
                attempt.refused()};
    }

  private:
    const test::TempDir dir_;
    const pid_t service_ = startService();

  public:
    const std::string kav_dir = dir_.path();
    const std::string file = dir_ / "file";
    const std::string config = dir_ / "config";
    const std::string pid_file = dir_ / "pid-file-of-a-running-service";
    const std::string no_pid_file = dir_ / "pid-file-of-a-stopped-service";
};

// Takes away what the configuration module may say, which every command goes on after.
std::string withoutConfiguration(const std::string& text) {
    const std::string no_table =
        "Not enough memory to allocate Zarnic runtime configuration structure\n"
        "\nSystem error 12: Cannot allocate memory\n";
    const std::string no_buffer = "Can't allocate memory for error message\n";
    for (const std::string& report : {no_table, no_buffer}) {
        if (text.substr(0, report.size()) == report) {
            return text.substr(report.size());
        }
    }
    return text;
}

// What a command writes, and its status.
struct Outcome {
    std::string out;
    int status;

    bool operator==(const Outcome&) const = default;
};

// What a run may have done to files by then.
using Effect = std::function<void(const Invocation&)>;
const Effect any_effect = [](const Invocation& /*run*/) {};

class RefusedCommand : public testing::Test {
  protected:
    void expectSound(const Invocation& run, const Effect& effect) const {
        EXPECT_FALSE(run.signalled) << run.status << ": " << run.err;
        EXPECT_EQ(withoutConfiguration(run.err), "");
        EXPECT_TRUE(host_.serviceLives());
        effect(run);
    }

    // With memory refused to the process that runs it, the command does what it always does, or
    // says "Error". Only what is refused before there is a parser comes out as std::bad_alloc.
    void refuseCaller(const Arguments& arguments, const Outcome& usual,
                      const Effect& effect = any_effect) const {
        bool parserExists = false;
        bool thrownBefore = false;
        test::forEveryRefusal([&](Attempt& attempt) {
            const Invocation run = host_.run(attempt, arguments);
            expectSound(run, effect);
            const Outcome outcome = {withoutConfiguration(run.out), run.status};
            if (run.thrown) {
                EXPECT_FALSE(parserExists);
                thrownBefore = true;
                EXPECT_EQ(outcome.out, "");
                return;
            }
            parserExists = attempt.refused();
            EXPECT_TRUE(outcome == usual ||
                        (attempt.refused() && outcome == Outcome{"Error\n", 1}))
                << run.status << ": " << run.out;
        });
        EXPECT_TRUE(thrownBefore) << "the making of the parser is answered for";
    }

    // With memory refused to the processes that it forks, it ends in one of two ways.
    void refuseChildren(const Arguments& arguments, const Outcome& usual, const Outcome& other,
                        const Effect& effect = any_effect) const {
        test::forEveryRefusal(
            [&](Attempt& attempt) {
                const Invocation run = host_.run(attempt, arguments);
                expectSound(run, effect);
                EXPECT_FALSE(run.thrown);
                const Outcome outcome = {run.out, run.status};
                EXPECT_TRUE(outcome == usual || outcome == other)
                    << run.status << ": " << run.out;
            },
            test::Refused::children);
    }

    Arguments service(const std::string& command, const std::string& name,
                      const std::string& pidFile) const {
        return {command, "--kav-dir=" + host_.kav_dir, "--service=" + name,
                "--service-pidfile=" + pidFile};
    }

    const Host host_;
};

TEST_F(RefusedCommand, SaysWhatItAlwaysSaysOrError) {
    const std::string unknown = "--an-unknown-option-with-a-long-name";
    const struct {
        Arguments arguments;
        Outcome usual;
    } rows[] = {
        {{}, {"", 0}},
        {{"--help"}, {"", 0}},
        {{"-h"}, {"", 0}},
        {{unknown}, {"Unknown option '" + unknown + "'\n", 1}},
        {{"--check-install"}, {"Requires long option '--kav-dir'\n", 1}},
        {{"--delete-file", "--file"}, {"Incorrect long option '--file'\n", 1}},
        {{"--check-install", "--kav-dir=" + host_.kav_dir},
         {"Kaspersky Anti-Virus server is installed\n", 0}},
        {{"--check-install", "--kav-dir=/no/such/directory/at/all"},
         {"Kaspersky Anti-Virus server is not installed\n", 1}},
        {service("--service-started", "aveserver", host_.no_pid_file),
         {"Service is not running\n", 1}},
        {service("--kill-service", "keepup2date", host_.no_pid_file),
         {"Service is stopped already\n", 1}},
        {service("--start-service", "aveserver", host_.pid_file),
         {"Service is running already\n", 1}},
    };
    for (const auto& [arguments, usual] : rows) {
        SCOPED_TRACE(testing::PrintToString(arguments));
        refuseCaller(arguments, usual);
    }
}

TEST_F(RefusedCommand, OfARunningServiceSaysSoAlsoForItsChildren) {
    const struct {
        const char* command;
        const char* name;
        std::string out;
    } rows[] = {
        {"--service-started", "aveserver", "Service is started\n"},
        {"--kill-service", "keepup2date", ""},
        {"--restart-service", "keepup2date", ""},
        {"--restart-service", "aveserver", ""},  // a reload
    };
    for (const auto& [command, name, out] : rows) {
        SCOPED_TRACE(command);
        refuseCaller(service(command, name, host_.pid_file), {out, 0});
        refuseChildren(service(command, name, host_.pid_file), {out, 0}, {"Error\n", 1});
    }
}

TEST_F(RefusedCommand, StartsADaemon) {
    for (const char* const command : {"--start-service", "--restart-service"}) {
        const Arguments stopped = service(command, "keepup2date", host_.no_pid_file);
        refuseCaller(stopped, {"", 0});
        refuseChildren(stopped, {"", 0}, {"", 0});
    }
}

TEST_F(RefusedCommand, DeletesShowsAndSavesFiles) {
    refuseCaller({"--delete-file", "--file=" + host_.file}, {"", 0}, [&](const auto& run) {
        EXPECT_EQ(std::filesystem::exists(host_.file), run.status != 0);
    });

    const Arguments content = {"--config-file-content", "--file=" + host_.file};
    refuseCaller(content, {"content\n", 0});
    refuseChildren(content, {"content\n", 0}, {"Error\n", 0});

    const Arguments save = {"--save-to-config-file", "--file=" + host_.file,
                            "--config-file=" + host_.config};
    const Effect saved = [&](const Invocation& run) {
        const std::string config = readFile(host_.config);
        const bool told = run.thrown || run.out.ends_with("Error\n");
        EXPECT_TRUE(config == "content\n" || (config == "old\n" && run.refused && told))
            << config;
    };
    refuseCaller(save, {"", 0}, saved);
    refuseChildren(save, {"", 0}, {"Error\nError\n", 0}, saved);
}

// Whoever is told how the service ended finds its exit code in the errors file. With memory
// refused to children, it may be empty or hold what cat's place said, and the code is 1 for a
// child that could not become the program.
TEST_F(RefusedCommand, StartInTheForegroundLeavesTheExitCode) {
    const struct {
        std::string name;
        std::string code;
        Outcome usual;
    } rows[] = {{"keepup2date", "0", {"", 0}},
                {"parse_avstat.pl", "0", {"", 0}},
                {"failing", "1", {"Service failed\n", 1}}};
    for (const auto& row : rows) {
        Arguments start = service("--start-service", row.name, host_.no_pid_file);
        start.push_back("--no-daemon=1");
        start.push_back("--config-file=" + host_.config);
        // What the latest run left. The next run finds none.
        const auto takeErrors = [path = "/tmp/zrckav_" + row.name + "_errors"] {
            const std::string errors = readFile(path);
            std::filesystem::remove(path);
            return errors;
        };
        refuseCaller(start, row.usual, [&](const Invocation& run) {
            const bool told = run.status == 0 || run.out.ends_with("Service failed\n");
            const std::string errors = takeErrors();
            EXPECT_TRUE(errors == row.code || (!told && errors.empty())) << errors;
        });
        const Outcome neverRan = {"Error\nService failed\n", 1};
        refuseChildren(start, row.usual, neverRan, [&](const Invocation& run) {
            const std::string errors = takeErrors();
            const bool unwritten = run.refused && (errors.empty() || errors == "Error\n");
            EXPECT_TRUE(unwritten || errors == (run.out == neverRan.out ? "1" : row.code))
                << errors;
        });
    }
}

}  // namespace
