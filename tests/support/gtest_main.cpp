// The main of every GoogleTest program here:
//
//     test_FOLDER [X]      all tests of the folder, or those of its source x_test.cpp
//
// At the end, where it is read, it shows the reason of each skip, and the command that runs
// each failed test again alone. A skip makes ctest list the program as skipped, and fails it
// with AVMANAGER_FORBID_SKIPS set.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

// A text as one word of a shell's command.
std::string quoted(const std::string& text) {
    std::string result = "'";
    for (const char c : text) {
        result += c == '\'' ? std::string("'\\''") : std::string(1, c);
    }
    return result + "'";
}

// What stands before the program in the command: tests/support/private_root, where it ran in
// one, and the build folder when that lies outside the project.
std::string launcher() {
    const char* const root = std::getenv("AVMANAGER_PRIVATE_ROOT");
    const char* const build = std::getenv("AVMANAGER_BUILD");
    if (root == nullptr) {
        return "";
    }
    return (build == nullptr ? "" : "AVMANAGER_BUILD=" + quoted(build) + " ") + quoted(root) +
           " ";
}

class Reporter : public testing::EmptyTestEventListener {
  public:
    explicit Reporter(const std::string& program) : command_(launcher() + quoted(program)) {}

    void OnTestEnd(const testing::TestInfo& info) override {
        const std::string name = std::string(info.test_suite_name()) + "." + info.name();
        if (info.result()->Skipped()) {
            lines_.push_back("SKIPPED " + name + ": " +
                             info.result()->GetTestPartResult(0).message());
            skipped_ = true;
        } else if (info.result()->Failed()) {
            lines_.push_back("Run again: " + command_ + " --gtest_filter=" + quoted(name));
        }
    }

    void OnTestProgramEnd(const testing::UnitTest& /*tests*/) override {
        for (const std::string& line : lines_) {
            std::printf("%s\n", line.c_str());
        }
    }

    bool skipped() const { return skipped_; }

  private:
    std::string command_;
    std::vector<std::string> lines_;
    bool skipped_ = false;
};

// GoogleTest's filter for the tests of one source.
std::string testsOf(const std::string& name) {
    const testing::UnitTest& all = *testing::UnitTest::GetInstance();
    std::string filter = ":";  // matches nothing
    for (int i = 0; i < all.total_test_suite_count(); ++i) {
        const testing::TestSuite& suite = *all.GetTestSuite(i);
        for (int j = 0; j < suite.total_test_count(); ++j) {
            const testing::TestInfo& test = *suite.GetTestInfo(j);
            if (std::string(test.file()).ends_with("/" + name + "_test.cpp")) {
                filter += std::string(suite.name()) + "." + test.name() + ":";
            }
        }
    }
    return filter;
}

}  // namespace

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    if (argc > 1) {
        // What the environment leaves out stays left out.
        const std::string given = testing::GTEST_FLAG(filter);
        const std::string left_out = given.substr(std::min(given.find('-'), given.size()));
        testing::GTEST_FLAG(filter) = testsOf(argv[1]) + left_out;
    }
    auto* const reporter = new Reporter(argv[0]);  // owned by GoogleTest
    testing::UnitTest::GetInstance()->listeners().Append(reporter);
    const int result = RUN_ALL_TESTS();
    if (testing::UnitTest::GetInstance()->test_to_run_count() == 0) {
        std::printf("no test ran\n");
        return 1;
    }
    if (result != 0 || !reporter->skipped()) {
        return result;
    }
    const bool forbidden = std::getenv("AVMANAGER_FORBID_SKIPS") != nullptr;
    return forbidden ? 1 : 77;  // ctest's status of a skip
}
