// What a test and the daemon that it lets fail have in common: one page of memory, a file that both
// map.
//
// Ownership: the test makes the file; the daemon maps it with its first call that may fail.
// Threads: every field by itself; `call` is written last when a failure is ordered.

#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>

namespace teskd::test {

// The calls that can be made to fail.
enum class Call : std::uint32_t {
    none,
    allocation,
    socket,
    accept,
    duplicate,
    event,
    thread,
    read,
    send,
    write,
    poll,
    connect,
    bind,
    listen,
    setOption,
    getOption,
    available,
    open,
    sync,
};

struct FaultPage {
    static constexpr char kName[] = "tmp/faults";  // below the daemon's root
    static constexpr std::size_t kDepth = 24;

    std::atomic<Call> call{Call::none};
    std::atomic<int> error{0};
    std::atomic<std::uint64_t> first{0};  // number, from 1, of the first call that fails; 0: none
    std::atomic<std::uint64_t> count{0};  // how many fail
    std::atomic<std::uint64_t> calls{0};  // made since the order
    std::atomic<std::uint64_t> failed{0};
    // Return addresses at the latest failure, relative to the program; 0 behind the last.
    std::array<std::atomic<std::uintptr_t>, kDepth> where{};
};

static_assert(std::atomic<std::uint64_t>::is_always_lock_free);

}  // namespace teskd::test
