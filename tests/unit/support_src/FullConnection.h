// Fills a connection whose peer does not read, until the system accepts no more output.
//
// Threads: one user at a time. Errors: those of the stream.

#pragma once

#include <chrono>
#include <gtest/gtest.h>
#include <string>
#include <sys/socket.h>
#include <thread>

#include "net/OutputStream.h"

namespace teskd::test {

// At least `size` bytes: consecutive decimal numbers, from `first` on.
inline std::string numbers(std::size_t first, std::size_t size) {
    std::string result;
    while (result.size() < size) result += std::to_string(first++) + ' ';
    return result;
}

// Whether the system accepts more output within a second, by when delayed acknowledgements have
// arrived and the sender has probed the full receive window.
inline bool takesMore(OutputStream& output) {
    using namespace std::chrono_literals;
    for (auto left = 1000ms; left > 0ms; left -= 10ms) {
        if (output.flushAvailable()) return true;
        std::this_thread::sleep_for(10ms);
    }
    return false;
}

// Writes until the system accepts no more, even after a while, and then nearly fills the stream's
// buffer of 64 KiB. Returns the written bytes, of which no two pieces are equal. The stream is that
// of the socket, whose send buffer gets a fixed size: otherwise the system would enlarge it later.
inline std::string fill(OutputStream& output, int socket) {
    constexpr int kSendBuffer = 100'000;
    EXPECT_EQ(0, ::setsockopt(socket, SOL_SOCKET, SO_SNDBUF, &kSendBuffer, sizeof kSendBuffer));
    constexpr std::size_t kPiece = 1000;
    constexpr std::size_t kWaiting = 50'000;
    std::string many;
    while (takesMore(output)) {
        const std::string piece = numbers(many.size(), kPiece);
        output.write(piece);
        many += piece;
    }
    const std::string last = numbers(many.size(), kWaiting);
    output.write(last);
    return many + last;
}

}  // namespace teskd::test
