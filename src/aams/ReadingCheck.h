// The checks of a counter reading.
#pragma once

#include <cstdint>
#include <list>
#include <optional>
#include <string>
#include <string_view>

namespace teskd {

// Finds what is wrong with a reading. Pure functions: no stored state, no clock.
class ReadingCheck {
  public:
    // The six fields of a counter reading, in their order.
    struct Values {
        double totalIn;              // CNTTOTIN
        double totalOut;             // CNTTOTOT
        double closedGames;          // CNTCL
        double item3, item4, item5;  // their meaning is the machine's own
    };
    // The counters of the reading before.
    struct Stored {
        std::int32_t totalIn;
        std::int32_t totalOut;
        std::int32_t closedGames;
    };

    // The code of the checks that compare a counter with that of the reading before.
    static constexpr const char* COUNTER_WENT_BACK = "38";

    // Nothing when the message body has fewer than six fields.
    static std::optional<Values> parse(std::string_view body);

    // The error codes, in the order of the checks. with_trailer: the answer carried a trailer,
    // which exempts it from the last three checks.
    static std::list<std::string> errors(const Values& values, const Stored& stored,
                                         bool with_trailer);

    // Truncates to an integer, saturated to 32 bits; 0 for NaN.
    static std::int32_t to_integer(double value);
};

}  // namespace teskd
