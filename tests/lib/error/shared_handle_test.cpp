#include <gtest/gtest.h>
TEST(Placeholder, Runs) { SUCCEED(); }
