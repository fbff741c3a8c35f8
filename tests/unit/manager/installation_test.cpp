#include <filesystem>

#include "manager/commands.h"
#include "tests/unit/opt/command_line.h"
#include "tests/unit/sys/runs.h"

namespace {

TEST(Installation, TheCheckAnswersTrueOrThrowsTheUsersError) {
    const test::TempDir dir;
    std::filesystem::create_directory(dir / "bin");
    test::writeFile(dir / "bin/aveserver", "");
    test::isolated([&] {
        EXPECT_TRUE(checkInstall(test::parse({"--kav-dir=" + dir.path()})));
        EXPECT_THROW(checkInstall(test::parse({"--kav-dir=" + dir / "none"})), TUError);
    });
}

}  // namespace
