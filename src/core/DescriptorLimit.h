// How many descriptors the process may have open.
#pragma once

#include <cstddef>

namespace teskd {

// Raises the process's own limit to the highest that it is allowed without privileges: every host
// costs a few descriptors, and the usual limit is meant for programs that still use select(2). A
// failure is logged, and the limit stays. Any thread.
void raiseDescriptorLimit();

// The process's own limit at present. One that the system does not tell counts as none. Any thread.
std::size_t descriptorLimit();

}  // namespace teskd
