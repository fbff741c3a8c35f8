// In which pieces a captured output is read. The linker has the product call read here.

#include <gtest/gtest.h>
#include <sys/types.h>

#include <cstddef>
#include <string>

#include "tests/unit/sys/runs.h"
#include "zarnic/sys/output.h"

namespace {

int reads = 0;
int reads_of_a_chunk = 0;

}  // namespace

extern "C" {

ssize_t __real_read(int descriptor, void* buffer, std::size_t size);
ssize_t __wrap_read(int descriptor, void* buffer, std::size_t size);

ssize_t __wrap_read(int descriptor, void* buffer, std::size_t size) {
    ++reads;
    reads_of_a_chunk += size == 1024 ? 1 : 0;
    return __real_read(descriptor, buffer, size);
}
}

namespace zarnic::sys {
namespace {

class OutputChunks : public test::RunTest {};

TEST_F(OutputChunks, EveryReadAsksFor1024Bytes) {
    std::string out;
    checkedOutput(out, test::probe({"write", "3000"}));
    EXPECT_EQ(out.size(), 3000U);
    EXPECT_GE(reads, 4);
    EXPECT_EQ(reads_of_a_chunk, reads);
}

}  // namespace
}  // namespace zarnic::sys
