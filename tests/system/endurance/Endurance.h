// What the long tests share: how much they do, what they measure, and limits of the daemon.
//
// Ownership: plain values and guards; a guard belongs to the test.
// Threads: one user at a time, but report() from any. Errors: the guards fail the test.

#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <sys/resource.h>
#include <sys/types.h>

#include "support/HostClient.h"

namespace teskd::test {

#ifdef TESKD_SANITIZED
inline constexpr bool kSanitized = true;
#else
inline constexpr bool kSanitized = false;
#endif

// How much resident memory may grow and still count as flat: what an allocator keeps varies a
// little.
inline constexpr std::size_t kFlatKilobytes = 2048;

// Whether TESKD_FULL=1 asks for the full form.
bool isFull();
// The count of the full form, or the short form's part of it.
std::size_t scaled(std::size_t full, std::size_t part);

// One figure: a line on standard output and a property of the test.
void report(const std::string& name, double value, const std::string& unit);

// A limit of another process, or of this one (0), for as long as the object lives. Only the soft
// limit changes.
class Limit {
  public:
    Limit(pid_t pid, __rlimit_resource which, rlim_t value);
    ~Limit();
    Limit(const Limit&) = delete;
    Limit& operator=(const Limit&) = delete;

  private:
    pid_t pid_;
    __rlimit_resource which_;
    rlimit before_{};
};

// Lets this process open so many descriptors. False when the hard limit is lower.
bool allowDescriptors(rlim_t count);

// A process with this as its limit may open no descriptor.
rlim_t lowestFreeDescriptor(pid_t pid);
std::size_t virtualKilobytes(pid_t pid);

// Asks for the version and sees the answer.
void expectVersion(HostClient& host, Deadline deadline = {});
// Whether a request for the version is answered; false when the daemon closes the connection
// instead. Throws Timeout when neither happens.
bool isServed(HostClient& host, Deadline deadline = {});

}  // namespace teskd::test
