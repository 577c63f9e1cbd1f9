// The body of an AAMS frame: a code id, a length and a text.
//
// Ownership: a plain value. Threads: no state. Errors: decoding throws DecodeError.

#pragma once

#include <string>
#include <string_view>

namespace teskhost {

class AamsMessage {
  public:
    // `body` begins with "-" unless it is empty.
    AamsMessage(int code, std::string body) : code_(code), body_(std::move(body)) {}

    std::string encode() const;
    // Decodes exactly one message, with correct length fields.
    static AamsMessage decode(std::string_view data);

    int code() const { return code_; }
    const std::string& body() const { return body_; }

  private:
    int code_;
    std::string body_;
};

}  // namespace teskhost
