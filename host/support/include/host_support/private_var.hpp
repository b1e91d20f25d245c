// SPDX-License-Identifier: Apache-2.0
// Host programs that start the library's intake create its pipe under /var. They get a private
// /var instead (a tmpfs in a mount namespace of their own), so they never touch the machine's
// and leave nothing behind: as root directly, as any other user inside a user namespace.
#pragma once

namespace host {

// Returns true when /var is now private; false leaves the process as it was. Call it before the
// process starts a thread.
bool usePrivateVar();

} // namespace host
