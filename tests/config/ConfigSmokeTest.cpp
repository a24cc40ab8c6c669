#include <CommonTarn.h>
#include <gtest/gtest.h>
TEST(ConfigSmoke, Builds) { TConfig c("X"); unsigned int n; char* b = c.GetAsBlock(&n); EXPECT_EQ(9u, n); NH_Heap::FreeMem(b); }
