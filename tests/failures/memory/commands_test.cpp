// The front end and the commands about files with memory refused.

#include <filesystem>
#include <string>

#include "tests/failures/memory/commands.h"

namespace {

using test::Arguments;

class RefusedFileCommand : public test::RefusedCommand {};

TEST_F(RefusedFileCommand, NoCommandHelpAndErrors) {
    refuseCaller({}, {"", 0});
    refuseCaller({"--help"}, {"", 0});
    refuseCaller({"-h"}, {"", 0});
    refuseCaller({"--an-unknown-option-with-a-long-name"},
                 {"Unknown option '--an-unknown-option-with-a-long-name'\n", 1});
    refuseCaller({"--check-install"}, {"Requires long option '--kav-dir'\n", 1});
    refuseCaller({"--delete-file", "--file"}, {"Incorrect long option '--file'\n", 1});
}

TEST_F(RefusedFileCommand, CheckInstall) {
    refuseCaller({"--check-install", "--kav-dir=" + host_.kavDir()},
                 {"Kaspersky Anti-Virus server is installed\n", 0});
}

TEST_F(RefusedFileCommand, CheckInstallWhereThereIsNone) {
    refuseCaller({"--check-install", "--kav-dir=/no/such/directory/at/all"},
                 {"Kaspersky Anti-Virus server is not installed\n", 1});
}

TEST_F(RefusedFileCommand, DeleteFile) {
    expectEffect_ = [this](const test::Invocation& run) {
        EXPECT_EQ(std::filesystem::exists(host_.file()), run.status != 0);
    };
    refuseCaller({"--delete-file", "--file=" + host_.file()}, {"", 0});
}

TEST_F(RefusedFileCommand, ConfigFileContent) {
    const Arguments arguments = {"--config-file-content", "--file=" + host_.file()};
    refuseCaller(arguments, {"content\n", 0});
    refuseChildren(arguments, {{"content\n", 0}, {"Error\n", 0}});
}

TEST_F(RefusedFileCommand, SaveToConfigFile) {
    const Arguments arguments = {"--save-to-config-file", "--file=" + host_.file(),
                                 "--config-file=" + host_.config()};
    expectEffect_ = [this](const test::Invocation& run) {
        const std::string config = test::readFile(host_.config());
        const bool told = run.thrown || run.out.ends_with("Error\n");
        EXPECT_TRUE(config == "content\n" || (config == "old\n" && run.refused && told))
            << config;
    };
    refuseCaller(arguments, {"", 0});
    refuseChildren(arguments, {{"", 0}, {"Error\nError\n", 0}});
}

}  // namespace
