// A slot machine's answer in its text form: ID~Len~Date~CodeId~OO~body, and 268 bytes of trailer
// from machines that send one.
//
// Ownership: a plain value. Threads: no state. Errors: decoding throws DecodeError.

#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace teskhost {

struct TeskText {
    std::string id{};
    std::string date{};
    std::string machine{};
    std::string outcome{};
    std::string body{};
    bool trailer = false;

    static TeskText decode(std::string_view text);
    // The size that the text at the front of `data` gives itself.
    static std::size_t sizeOf(std::string_view data);

    // The body's items, between "~".
    std::vector<std::string> items() const;
};

}  // namespace teskhost
