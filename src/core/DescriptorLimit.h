// How many descriptors the process may have open.
#pragma once

#include <cstddef>

namespace teskd {

// Raises the process's limit to the highest that is allowed without privileges: every host costs a
// few descriptors, and the usual limit is meant for programs that still use select(2). If that
// fails, logs the failure and keeps the limit. Any thread.
void raiseDescriptorLimit();

// The process's current limit; the highest int if there is none or the system does not tell it. Any
// thread.
std::size_t descriptorLimit();

}  // namespace teskd
