// Test entry: every test process gets a private /var (a tmpfs in its own mount namespace), so
// tests run in parallel without sharing the fixed pipe path, and leave nothing behind.
#include <gtest/gtest.h>

#include <cstdio>
#include <sched.h>
#include <sys/mount.h>

namespace {

bool privateVar()
{
    return unshare(CLONE_NEWNS) == 0 &&
           mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
           mount("tmpfs", "/var", "tmpfs", 0, "size=4m,mode=0755") == 0;
}

} // namespace

int main(int argc, char **argv)
{
    if (!privateVar()) {
        fprintf(stderr, "tests need root for a private /var (mount namespace); none here\n");
        return 1;
    }
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
