// A connection whose peer does not read, so that the system takes no more of what is written.
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

// So many bytes and a few more, decimal numbers from there on.
inline std::string numbers(std::size_t first, std::size_t size) {
    std::string result;
    while (result.size() < size) result += std::to_string(first++) + ' ';
    return result;
}

// Whether that happens within a time in which both systems have exchanged the acknowledgements that
// they delay, and the sender has asked the full receiver for room.
inline bool takesMore(OutputStream& output) {
    using namespace std::chrono_literals;
    for (auto left = 1000ms; left > 0ms; left -= 10ms) {
        if (output.flushAvailable()) return true;
        std::this_thread::sleep_for(10ms);
    }
    return false;
}

// Writes until the system takes no more, even after a while, and then as much as nearly fills a
// buffer of 64 KiB; what was written, of which no two pieces are alike. The stream is that of the
// socket, whose send buffer gets a fixed size: otherwise the system enlarges it later and takes
// more.
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
