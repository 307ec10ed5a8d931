#include <gtest/gtest.h>
TEST(Placeholder, Builds) { EXPECT_TRUE(true); }
