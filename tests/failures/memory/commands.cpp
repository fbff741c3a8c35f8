#include "tests/failures/memory/commands.h"

#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>

#include "manager/front_end.h"

// The pause after a reload would only make the test slow: nothing here can happen during it.
// The linker gives the product this one (--wrap).
extern "C" unsigned __wrap_sleep(unsigned seconds);
extern "C" unsigned __wrap_sleep(unsigned /*seconds*/) { return 0; }

namespace test {

namespace {

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

}  // namespace

Host::Host() : service_(startService()) {
    ::prctl(PR_SET_CHILD_SUBREAPER, 1);
    std::filesystem::create_directory(dir_ / "bin");
    for (const char* const name : {"aveserver", "keepup2date", "parse_avstat.pl"}) {
        std::filesystem::create_symlink("/bin/true", dir_ / "bin/" + name);
    }
    std::filesystem::create_symlink("/bin/false", dir_ / "bin/failing");
    writeFile(pidFile(), std::to_string(service_) + "\n");
    writeFile("/etc/zrc/zrc.conf", "PRODUCT_ROOT_D /opt/product\n");
}

Host::~Host() {
    ::kill(service_, SIGKILL);
    ::waitpid(service_, nullptr, 0);
}

bool Host::serviceLives() const { return ::waitpid(service_, nullptr, WNOHANG) == 0; }

Invocation Host::run(const Attempt& attempt, const std::vector<std::string>& arguments) const {
    writeFile(file(), "content\n");
    writeFile(config(), "old\n");
    std::vector<const char*> argv = {"avmanager"};
    for (const std::string& argument : arguments) {
        argv.push_back(argument.c_str());
    }
    argv.push_back(nullptr);
    const int argc = static_cast<int>(argv.size()) - 1;
    const Captured child = inChild([&] {
        int status = 0;
        const bool thrown = attempt.run([&] { status = runCommandLine(argc, argv.data()); });
        std::exit(thrown ? thrown_status : status);
    });
    const int status = WIFEXITED(child.status) ? WEXITSTATUS(child.status) : -1;
    const bool clean = reapOrphans(service_);
    return {status == thrown_status,
            status,
            child.out,
            child.err,
            !clean || WIFSIGNALED(child.status),
            attempt.refused()};
}

namespace {

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

}  // namespace

void RefusedCommand::refuseCaller(const Arguments& arguments, const Outcome& usual) const {
    bool parserExists = false;
    bool thrownBefore = false;
    forEveryRefusal([&](Attempt& attempt) {
        const Invocation run = host_.run(attempt, arguments);
        expectSound(run);
        const std::string out = withoutConfiguration(run.out);
        if (run.thrown) {
            EXPECT_FALSE(parserExists);
            thrownBefore = true;
            EXPECT_EQ(out, "");
            return;
        }
        parserExists = attempt.refused();
        const bool asUsual = out == usual.out && run.status == usual.status;
        const bool error = out == "Error\n" && run.status == 1;
        EXPECT_TRUE(asUsual || (attempt.refused() && error)) << run.status << ": " << run.out;
    });
    EXPECT_TRUE(thrownBefore) << "the making of the parser is answered for";
}

void RefusedCommand::refuseChildren(const Arguments& arguments,
                                    const std::vector<Outcome>& known) const {
    forEveryRefusal(
        [&](Attempt& attempt) {
            const Invocation run = host_.run(attempt, arguments);
            expectSound(run);
            EXPECT_FALSE(run.thrown);
            bool found = false;
            for (const Outcome& one : known) {
                found = found || (run.out == one.out && run.status == one.status);
            }
            EXPECT_TRUE(found) << run.status << ": " << run.out;
        },
        Refused::children);
}

Arguments RefusedCommand::service(const std::string& command, const std::string& name,
                                  const std::string& pidFile) const {
    return {command, "--kav-dir=" + host_.kavDir(), "--service=" + name,
            "--service-pidfile=" + pidFile};
}

void RefusedCommand::expectSound(const Invocation& run) const {
    EXPECT_FALSE(run.signalled) << run.status << ": " << run.err;
    EXPECT_EQ(withoutConfiguration(run.err), "");
    EXPECT_TRUE(host_.serviceLives());
    expectEffect_(run);
}

}  // namespace test
