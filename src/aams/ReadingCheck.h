// The checks of a counter reading.
#pragma once

#include <cstdint>
#include <list>
#include <optional>
#include <string>
#include <string_view>

namespace teskd {

// A reading's six values and what is wrong with them. Values in, error codes out: no store, no
// clock.
class ReadingCheck {
  public:
    // The six fields of a counter reading: a CNTTOTIN, b CNTTOTOT, c CNTCL, d, e, f.
    struct Values {
        double a, b, c, d, e, f;
    };
    // The counters as they were stored before.
    struct Stored {
        std::int32_t a, b, c;
    };

    // Nothing when the message body has fewer than six fields.
    static std::optional<Values> parse(std::string_view body);

    // The error codes, in the order of the checks. with_trailer: the answer carried a trailer,
    // which exempts it from the last three checks.
    static std::list<std::string> errors(const Values& values, const Stored& stored,
                                         bool with_trailer);

    // Truncated to 32 bits, saturated; 0 for what is no number.
    static std::int32_t to_integer(double value);
};

}  // namespace teskd
