// SPDX-License-Identifier: Apache-2.0
// Test entry: every test process gets a private /var (a tmpfs in its own mount namespace), so
// tests run in parallel without sharing the fixed pipe path, and leave nothing behind.
#include <gtest/gtest.h>

#include <cstdio>

#include "host_support/private_var.hpp"

int main(int argc, char **argv)
{
    if (!host::usePrivateVar()) {
        fprintf(stderr, "tests need a private /var (a mount namespace); none here\n");
        return 1;
    }
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
