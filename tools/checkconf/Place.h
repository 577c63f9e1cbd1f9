// A place in the configuration: a file and a line, or none for a default.
//
// Ownership: a plain value. Threads: no state. Errors: none.

#pragma once

#include <string>
#include <utility>

namespace checkconf {

struct Place {
    std::string file{};  // empty for a default
    unsigned line = 0;   // from 1; 0 for a file as a whole

    // "etc/tesk_v2.ini:4", or "default".
    std::string text() const;
};

// A probable mistake in the configuration.
struct Finding {
    Finding(Place where, std::string what) : place(std::move(where)), text(std::move(what)) {}

    Place place;
    std::string text;
};

}  // namespace checkconf
