#include <gtest/gtest.h>
#include "tests/support/harness.hpp"
TEST(Smoke, Links) { HOST_LogEcho(0); EXPECT_EQ(DIAG_PANEL_HashFunc(7), 7u); }
