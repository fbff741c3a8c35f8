#include <filesystem>

#include "manager/commands.h"
#include "tests/unit/opt/command_line.h"
#include "tests/unit/sys/runs.h"

namespace {

TEST(FileCommands, EachAnswersTrueWhateverBecomesOfTheFile) {
    const test::TempDir dir;
    const std::string none = "--file=" + dir / "none";
    std::filesystem::create_directory(dir / "bin");
    test::writeFile(dir / "bin/aveserver", "");
    test::isolated([&] {
        EXPECT_TRUE(deleteFile(test::parse({none})));
        EXPECT_TRUE(configFileContent(test::parse({none})));
        EXPECT_TRUE(configFileContent(test::parse({"--file=" + dir.path()})));
        EXPECT_TRUE(saveToConfigFile(test::parse({none, "--config-file=" + dir / "none2"})));
        EXPECT_TRUE(checkInstall(test::parse({"--kav-dir=" + dir.path()})));
    });
}

}  // namespace
