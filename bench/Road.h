// A way on which hosts ask and are answered: through the daemon or through a reference. Hosts ask
// one request at a time, each on a connection and a thread of its own.
//
// Ownership: the object owns the hosts' connections. Threads: one user at a time.
// Errors: std::system_error when a connection fails, std::runtime_error for a wrong answer.

#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <sys/types.h>
#include <vector>

#include "bench/Sockets.h"
#include "bench/Usage.h"

namespace teskd::bench {

// What was seen while the hosts asked.
struct Sample {
    std::vector<std::uint32_t> latencies{};  // nanoseconds, one per request
    double seconds = 0;
    Usage used{};  // by the process that answers

    double rate() const { return static_cast<double>(latencies.size()) / seconds; }
    // The latency that so many of a hundred requests do not exceed, in microseconds.
    double percentile(double percent) const;
    void add(const Sample& other);
};

class Road {
  public:
    // Who answers, and the request of each host.
    struct Description {
        std::string name;
        std::uint16_t port = 0;
        pid_t pid = 0;
        std::vector<std::string> requests{};
        std::string answer{};  // to any of them; what differs from host to host is not looked at
    };

    explicit Road(Description description);

    const std::string& name() const { return description_.name; }
    pid_t pid() const { return description_.pid; }
    // Every host asks as often as it can.
    Sample drive(std::chrono::nanoseconds duration);
    // The first host asks so often.
    void ask(std::size_t times);

  private:
    std::uint32_t exchange(std::size_t host, std::string& answer);

    Description description_;
    std::vector<UniqueFd> hosts_;
};

}  // namespace teskd::bench
