#include "tools/common/private_var.hpp"

#include <sched.h>
#include <sys/mount.h>

namespace tools {

bool usePrivateVar()
{
    return unshare(CLONE_NEWNS) == 0 &&
           mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
           mount("tmpfs", "/var", "tmpfs", 0, "size=4m,mode=0755") == 0;
}

} // namespace tools
