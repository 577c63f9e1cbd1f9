// A decoded field: name and value, in a form for people and in one for programs.
//
// Ownership: plain values. Threads: no state. Errors: none.

#pragma once

#include <string>
#include <vector>

namespace teskhost {

struct Field {
    // The kind of the received text.
    enum class Kind {
        Text,
        Number,  // decimal
        Flag,    // 0 means no
        Stamp,   // YYMMDDhhmmss
        Code,    // a code, with its meaning in `words`
    };

    std::string name{};
    std::string value{};
    // Set by decoders only.
    std::string key{};  // stable, unlike the name
    Kind kind = Kind::Text;
    std::string raw{};    // as received
    std::string words{};  // the meaning of a code
};

using Fields = std::vector<Field>;

}  // namespace teskhost
