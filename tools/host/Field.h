// A decoded field: its name and its value, as a person reads them and as a program does.
//
// Ownership: plain values. Threads: no state. Errors: none.

#pragma once

#include <string>
#include <vector>

namespace teskhost {

struct Field {
    // What the text that came is.
    enum class Kind {
        Text,
        Number,  // decimal
        Flag,    // 0 for no
        Stamp,   // YYMMDDhhmmss
        Code,    // characters that stand for the words
    };

    std::string name{};
    std::string value{};
    // Filled in by decoders only.
    std::string key{};  // stays the same when the name is worded anew
    Kind kind = Kind::Text;
    std::string raw{};    // as it came
    std::string words{};  // of a code
};

using Fields = std::vector<Field>;

}  // namespace teskhost
