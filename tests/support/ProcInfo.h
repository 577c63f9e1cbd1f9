// Facts about a running process, from /proc.
//
// Ownership: plain values. Threads: no state. Errors: a process that is gone has 0 of everything.

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
// Names of all threads, as the kernel shows them.
std::vector<std::string> threadNames(pid_t pid);
// The masks of blocked signals, a bit for each from signal 1 on, of all threads but the main one.
std::vector<std::uint64_t> workersBlockedSignals(pid_t pid);
// The file the process executes; empty when unknown.
std::string executable(pid_t pid);
// IPv4 TCP ports on which the process itself listens.
std::vector<std::uint16_t> listeningPorts(pid_t pid);
// Whether anybody at all listens on the port.
bool somebodyListens(std::uint16_t port);

}  // namespace teskd::test
