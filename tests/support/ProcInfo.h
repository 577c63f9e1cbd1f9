// Information about a running process, from /proc.
//
// Ownership: plain values. Threads: no state. Errors: for a process that has ended all numbers are
// 0.

#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <sys/types.h>
#include <vector>

namespace teskd::test {

std::size_t residentKilobytes(pid_t pid);
std::size_t openDescriptors(pid_t pid);
std::size_t threadCount(pid_t pid);
// The names of all threads, as the kernel has them.
std::vector<std::string> threadNames(pid_t pid);
// The masks of blocked signals of all threads except the main one; bit 0 is signal 1.
std::vector<std::uint64_t> workersBlockedSignals(pid_t pid);
// The executable of the process; empty if unknown.
std::string executable(pid_t pid);
// IPv4 TCP ports on which the process itself listens.
std::vector<std::uint16_t> listeningPorts(pid_t pid);
// Whether any process listens on the port.
bool somebodyListens(std::uint16_t port);

}  // namespace teskd::test
