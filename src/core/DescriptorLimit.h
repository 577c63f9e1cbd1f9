// How many descriptors the process may have open.
#pragma once

namespace teskd {

// Raises the process's own limit to the highest that it is allowed without privileges: every host
// costs a few descriptors, and the usual limit is meant for programs that still use select(2). A
// failure is logged, and the limit stays. Any thread.
void raiseDescriptorLimit();

}  // namespace teskd
