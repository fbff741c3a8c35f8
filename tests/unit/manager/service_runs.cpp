#include "tests/unit/manager/service_runs.h"

#include <algorithm>
#include <filesystem>
#include <iostream>

#include "tests/unit/sys/runs.h"
#include "zarnic/error/system_error.h"

namespace test {

namespace fs = std::filesystem;

int report(TStartKAVService body) {
    try {
        std::cout << body() << std::flush;
    } catch (const TUError& error) {
        std::cout << error.message() << std::flush;
    } catch (const zarnic::sys::TSysCallErr& error) {
        std::cout << "TSysCallErr: " << error.message() << std::flush;
        return error.error();
    } catch (const zarnic::ExSystemError<10>& error) {
        std::cout << "ExSystemError<10>: " << error.what() << std::flush;
    } catch (const zarnic::ExSystemError<4>& error) {
        std::cout << "ExSystemError<4>: " << error.what() << std::flush;
    }
    return 0;
}

ServiceTest::~ServiceTest() {
    for (const auto& entry : fs::directory_iterator("/tmp")) {
        if (entry.path().filename().string().starts_with("zrckav_")) {
            fs::remove_all(entry.path());
        }
    }
}

Outcome ServiceTest::run(const TStartKAVService& body) const {
    return settled([&] {
        host.enter();
        std::exit(report(body));
    });
}

Words ServiceTest::vectorOf(const std::string& service, const std::string& config,
                            const std::string& pidFile) const {
    fs::remove_all(host / "record");
    fs::create_directory(host / "record");
    run({host.kav(), service, config, pidFile});
    Words argv = reported(host.report(service), "argv");
    EXPECT_FALSE(argv.empty()) << service;
    if (!argv.empty()) {
        EXPECT_EQ(argv.front(), host.kav() + "/bin/" + service);
        argv.erase(argv.begin());
    }
    return argv;
}

std::string ServiceTest::recorded() {
    const std::string path = errorsFile("other");
    return fs::exists(path) ? readFile(path) : "none";
}

Words joined(Words words, const Words& more) {
    words.insert(words.end(), more.begin(), more.end());
    return words;
}

Words ControlTest::named(const std::string& service) const {
    return {"--kav-dir=" + host.kav(), "--service=" + service};
}

Words ControlTest::withPidFile(const std::string& text, const std::string& service) const {
    return joined(named(service), {"--service-pidfile=" + host.file("pid", text)});
}

void ControlTest::expectDaemon(const Outcome& outcome, int service) {
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out + outcome.err, "");
    std::vector<int> expected{0, 0, service, answered_true};
    std::sort(expected.begin(), expected.end());
    EXPECT_EQ(outcome.orphans, expected);
}

void ControlTest::expectThrown(const Outcome& outcome, const std::string& message) {
    EXPECT_EQ(outcome.status, threw);
    EXPECT_EQ(outcome.out, message + "\n");
    EXPECT_EQ(outcome.err, "");
    EXPECT_EQ(outcome.orphans, std::vector<int>());
}

}  // namespace test
