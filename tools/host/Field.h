// A decoded field: its name and its value, as a person reads them.
//
// Ownership: plain values. Threads: no state. Errors: none.

#pragma once

#include <string>
#include <vector>

namespace teskhost {

struct Field {
    std::string name;
    std::string value;
};

using Fields = std::vector<Field>;

}  // namespace teskhost
