// A decoded AAMS answer or notification of the daemon: named fields and counter readings.
//
// Ownership: a plain value. Threads: no state. Errors: decoding throws DecodeError.

#pragma once

#include <string>
#include <vector>

#include "host/AamsMessage.h"
#include "host/Field.h"
#include "host/TeskText.h"

namespace teskhost {

struct AamsReading {
    std::string context{};  // empty if the message has none
    std::string stamp{};
    TeskText message{};
};

struct AamsContent {
    int code = 0;
    Fields fields{};
    std::vector<AamsReading> readings{};

    static AamsContent decode(const AamsMessage& message);

    // The value of a field; empty when there is no such field.
    std::string value(const std::string& name) const;
    // The code of the result; empty when there is none.
    std::string result() const;
};

}  // namespace teskhost
