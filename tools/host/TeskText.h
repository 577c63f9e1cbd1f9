// The text of a slot machine's answer: ID~Len~Date~CodeId~OO~body, followed by a trailer of 268
// bytes from some machines.
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
    // The value of the length field of the text at the start of `data`.
    static std::size_t sizeOf(std::string_view data);

    // The body's items, separated by "~".
    std::vector<std::string> items() const;
};

}  // namespace teskhost
