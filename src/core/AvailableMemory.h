// How much memory the machine has left.
#pragma once

#include <cstddef>

namespace teskd {

// Bytes that programs can still get, as /proc/meminfo estimates them (MemAvailable). Where that
// cannot be read, as in a sandbox or on an old kernel, half of the machine's memory. Any thread.
std::size_t availableMemory();

}  // namespace teskd
