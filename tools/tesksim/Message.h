// Messages of the slot-machine link, seen from the machine: requests and acknowledgements come
// in, answers go out.
//
//   request  ID~LLLL~payload                         LLLL counts the whole message
//   answer   ID~LLLL~Date~CodeId~OO[~body][trailer]
//
// A request's header is 8 bytes; an ID of fewer than three digits is filled up with zero bytes.
//
// Ownership: plain values. Threads: no state; a parser has one user. Errors: nothing throws;
// bytes that are no message are kept as such.

#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace tesksim {

inline constexpr int kAcknowledgement = 150;

// A request or an acknowledgement.
struct Message {
    int id = 0;
    std::string payload{};  // the body without its leading "~"
    std::string raw;        // the message as it came

    bool isAcknowledgement() const { return id == kAcknowledgement; }
};

struct Answer {
    int id = 0;  // 0: the ID of the request
    std::string date = "15.03.21";
    std::string codeId{};  // empty: the machine's own
    std::string outcome = "00";
    std::string body{};
    std::string trailer{};  // 268 bytes, or empty
};

// The answer's text, its length field increased by `lengthError`.
std::string encode(const Answer& answer, int lengthError = 0);

// Cuts a stream of bytes into messages.
class MessageParser {
  public:
    void feed(std::string_view data) { pending_.append(data); }
    // The next complete message, if there is one. Bytes in front of it that belong to no message
    // go to junk(), of which the latest are kept.
    std::optional<Message> next();
    const std::string& junk() const { return junk_; }
    void reset();

  private:
    std::string pending_;
    std::string junk_;
};

}  // namespace tesksim
