// The panel's configuration file of a test, which has an /etc of its own, and the answers of a
// fresh process to it: the module loads the file once per process.

#pragma once

#include <linux/magic.h>
#include <sys/vfs.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <string>

#include "tests/support/capture.h"

namespace test {

inline const std::string panel_file = "/etc/zrc/zrc.conf";

inline void writePanelFile(const std::string& content) { writeFile(panel_file, content); }

inline void removePanelFile() { std::filesystem::remove_all(panel_file); }

// Each answer is one line of the output of a child.
inline void show(const char* answer) {
    std::printf("%s\n", answer == nullptr ? "(null)" : answer);
}

inline void show(int answer) { std::printf("%d\n", answer); }

// What a fresh process shows; nothing may appear on its standard error.
inline std::string answers(const std::function<void()>& body) {
    const Captured child = inChild(body);
    EXPECT_TRUE(child.exited(0));
    EXPECT_EQ(child.err, "");
    return child.out;
}

// A test with no panel file yet. It refuses to run over the machine's own /etc.
class PanelFileTest : public testing::Test {
  protected:
    PanelFileTest() {
        struct statfs etc = {};
        if (::statfs("/etc", &etc) != 0 || etc.f_type != TMPFS_MAGIC) {
            std::fprintf(stderr, "run this test by tests/support/private_root\n");
            std::exit(1);
        }
        removePanelFile();
    }
    ~PanelFileTest() override { removePanelFile(); }
};

}  // namespace test
