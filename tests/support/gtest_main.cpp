// The main of every GoogleTest program here. It shows the reason of each skip at the end, where
// it is read. A skip makes ctest list the program as skipped, and fails it with
// AVMANAGER_FORBID_SKIPS set.

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

class SkipReporter : public testing::EmptyTestEventListener {
  public:
    void OnTestEnd(const testing::TestInfo& info) override {
        if (info.result()->Skipped()) {
            skipped_.push_back(std::string(info.test_suite_name()) + "." + info.name() + ": " +
                               info.result()->GetTestPartResult(0).message());
        }
    }

    void OnTestProgramEnd(const testing::UnitTest& /*tests*/) override {
        for (const std::string& skip : skipped_) {
            std::printf("SKIPPED %s\n", skip.c_str());
        }
    }

    bool any() const { return !skipped_.empty(); }

  private:
    std::vector<std::string> skipped_;
};

}  // namespace

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    auto* const reporter = new SkipReporter;  // owned by GoogleTest
    testing::UnitTest::GetInstance()->listeners().Append(reporter);
    const int result = RUN_ALL_TESTS();
    if (testing::UnitTest::GetInstance()->test_to_run_count() == 0) {
        std::printf("no test ran\n");
        return 1;
    }
    if (result != 0 || !reporter->any()) {
        return result;
    }
    const bool forbidden = std::getenv("AVMANAGER_FORBID_SKIPS") != nullptr;
    return forbidden ? 1 : 77;  // ctest's status of a skip
}
