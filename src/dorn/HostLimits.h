// What the machine's memory leaves to hosts.
#pragma once

#include <algorithm>
#include <cstddef>
#include <limits>

namespace teskd {

// Each pool that hosts share is a sixteenth of the memory that is available when the daemon starts,
// and 8 MiB at most; the other limits of what hosts may hold are parts or multiples of a pool. As
// many hosts are served as have room in a quarter of that memory. So more than half of it stays,
// whatever hosts do, for the rest of the machine, for what exists twice while it is converted, and
// for the kernel's buffers of connections.
//
// Arithmetic only, no system call. Sizes are bytes.
class HostLimits {
  public:
    static constexpr std::size_t LARGEST_POOL = std::size_t{8} * 1024 * 1024;
    // A pool and an allowance of this size hold any request and answer of a few machines.
    static constexpr std::size_t SMALLEST_POOL = std::size_t{256} * 1024;
    static constexpr std::size_t SMALLEST_ALLOWANCE = std::size_t{4} * 1024;
    // A message to a machine: the object with its fields, and its list nodes. Its text is not
    // included, since the room for the request's body covers it.
    static constexpr std::size_t MESSAGE_COST = 1024;
    // A connection that holds nothing: a thread with its two stacks, four descriptors, its objects.
    static constexpr std::size_t CONNECTION_COST = std::size_t{32} * 1024;
    static constexpr std::size_t FEWEST_CONNECTIONS = 4;

    // For that many configured lines, each of which a single request may send a message.
    explicit HostLimits(std::size_t lines,
                        std::size_t available = std::numeric_limits<std::size_t>::max())
        : available_(available),
          pool_(std::clamp(available / 16, SMALLEST_POOL, LARGEST_POOL)),
          messages_(lines * MESSAGE_COST) {}

    // True when the memory is too little for the largest pools.
    bool areReduced() const { return pool_ < LARGEST_POOL; }
    // Of all requests together, and as much of all answers.
    std::size_t pool() const { return pool_; }
    // What each connection may hold of answers, beside the pool, and of requests.
    std::size_t allowance() const { return std::max(pool_ / 128, SMALLEST_ALLOWANCE); }
    std::size_t requestAllowance() const { return allowance() + messages_; }
    // No further request of a host is read while more of its answers wait.
    std::size_t mostQueued() const { return pool_ / 8; }
    // The body of a request that is read; any that a frame can have with the largest pool.
    std::size_t largestBody() const { return 2 * pool_; }
    // Hosts that are served at a time.
    std::size_t connections() const {
        const std::size_t each = CONNECTION_COST + allowance() + requestAllowance();
        return std::max(available_ / 4 / each, FEWEST_CONNECTIONS);
    }

  private:
    const std::size_t available_;
    const std::size_t pool_;
    const std::size_t messages_;  // to each line
};

}  // namespace teskd
