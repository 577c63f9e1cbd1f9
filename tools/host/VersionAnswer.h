// The answer to a request of type 7: the software version of the controller.
//
// Ownership: a plain value. Threads: no state. Errors: decoding throws DecodeError.

#pragma once

#include <string>
#include <string_view>

namespace teskhost {

struct VersionAnswer {
    std::string version{};

    static VersionAnswer decode(std::string_view body);
};

}  // namespace teskhost
