// Host programs that start the library's intake create its pipe under /var. Run as root, they
// get a private /var instead (a tmpfs in a mount namespace of their own), so they never touch
// the machine's and leave nothing behind.
#pragma once

namespace tools {

// Returns true when /var is now private; false leaves the process as it was.
bool usePrivateVar();

} // namespace tools
