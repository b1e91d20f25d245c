#include <gtest/gtest.h>
#include "tests/support/harness.hpp"
TEST(Smoke, IntakeRuns) {
  HOST_LogEcho(1);
  ASSERT_EQ(DIAG_PANEL_init(0x5a), 0);
  EXPECT_TRUE(test::drainIntake());
  auto m = test::message(2, 5, 0x0C, 1);
  EXPECT_EQ(DIAG_PANEL_ProcessNewMsg(&m), 0);
  EXPECT_EQ(test::tableSnapshot().size(), 1u);
  DIAG_PANEL_TRANS_Deinit();
  ASSERT_EQ(DIAG_PANEL_TRANS_Init(0x5a), 0);
  EXPECT_TRUE(test::drainIntake());
}
