// The AAMS side of a dialogue with the daemon: requests over TCP, notifications over UDP.
//
// Ownership: plain values; Notifications borrows the server's socket.
// Threads: one user at a time. Errors: Timeout when something does not come.

#pragma once

#include <cstdint>
#include <list>
#include <string>
#include <string_view>

#include "support/Deadline.h"
#include "support/Frame.h"
#include "support/HostClient.h"
#include "support/UdpPeer.h"

namespace teskd::test {

inline constexpr std::uint8_t kAamsType = 0xFE;

// "CCC-LLLL" and the body, behind the 4 bytes of its length.
std::string aamsPayload(int code, std::string_view body);
// The text of a payload behind its prefix. Fails the test when prefix or length field is wrong.
std::string aamsText(std::string_view payload);

// Sends a request and returns the reply's text.
std::string ask(HostClient& host, int code, std::string_view body = "", Deadline deadline = {});

// The notification server's view: picks notifications by code. The daemon sends the next one only
// when none is pending, so all others are answered, with what changes nothing, and kept.
class Notifications {
  public:
    explicit Notifications(UdpPeer& server) : server_(server) {}

    // The next notification with this code that was not taken yet. Its answer is the caller's.
    Frame take(int code, Deadline deadline = {});
    // Whether one arrives within the time.
    bool arrivesWithin(int code, std::chrono::milliseconds time);
    // Sends a frame with these identifiers and this payload as the answer.
    void answer(const Frame& notification, int code, std::string_view body);
    void reply(std::string_view datagram) { server_.reply(datagram); }

  private:
    bool pick(int code, Frame& into);
    bool collect(int code, std::chrono::milliseconds time);

    UdpPeer& server_;
    std::list<Frame> waiting_;
};

// A notification's answer, as a datagram.
std::string answerTo(const Frame& notification, std::string_view payload);

// Regular expressions for what changes from run to run.
inline constexpr char kStamp[] = "[0-9]{12}";

}  // namespace teskd::test
