// SPDX-License-Identifier: Apache-2.0
// Before the display thread exists (here, because it could not be created), events are still
// checked, then dropped without a trace.
#include <gtest/gtest.h>

#include "host_support/log.hpp"
#include "tests/support/harness.hpp"

extern "C" int __wrap_pthread_create(pthread_t *, const pthread_attr_t *, void *(*)(void *),
                                     void *);
extern "C" int __wrap_pthread_create(pthread_t *, const pthread_attr_t *, void *(*)(void *), void *)
{
    return EAGAIN; // this build has no thread to spare
}

TEST(DisplayNotReady, AThreadNotCreatedIsReportedAndEventsAreDropped)
{
    HOST_Reset();
    HOST_LogEcho(0);
    ASSERT_EQ(DIAG_PANEL_InitHashTable(), 0);
    {
        const test::LogCursor log;
        EXPECT_EQ(DIAG_PANEL_DisplayInit(0), -1);
        ASSERT_EQ(log.lines().size(), 1u);
        EXPECT_EQ(log.lines()[0].level, 2u);
        EXPECT_EQ(host::withoutUnitPrefix(log.lines()[0].text), "Create thread failed.");
    }
    for (u16 type : {u16{0}, u16{2}}) {
        DIAG_PANEL_MSG_S msg = test::message(type, 1, 1 << 2, 1);
        ASSERT_EQ(DIAG_PANEL_ProcessNewMsg(&msg), 0);
    }
    const test::LogCursor log;
    for (u32 type = 0; type <= 4; ++type) {
        DIAG_PANEL_DISP_EVENT_S ev{type, 0x10, {}, 0};
        EXPECT_EQ(DIAG_PANEL_EventRecv(&ev), 0);
    }
    DIAG_PANEL_DISP_EVENT_S bad{5, 0, {}, 0};
    EXPECT_EQ(DIAG_PANEL_EventRecv(&bad), -1);
    EXPECT_EQ(DIAG_PANEL_DISP_trigPostErrState(1, 0x20), 0);
    std::vector<test::LogLine> expected(
        5, {4, "DiagPanel_DisplayTask", "DiagPanel display task is not ready!"});
    expected.push_back({4, "DiagPanel_DisplayTask", "Invalid event info, type: 5 percentage: 0"});
    EXPECT_EQ(log.lines(), expected);
    EXPECT_EQ(test::tableSnapshot().size(), 2u) << "not even POST start empties a bucket";
}
