// The four parameters of the automatic polling.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace teskd {

// Plain values without a lock. As text: "minutes!flag!flag!minutes".
struct ExternalParameters {
    bool operator==(const ExternalParameters&) const = default;

    std::int32_t tmp_app_collegati = 1;   // minutes between two polling passes
    bool invio_app_collegati = true;      // report a pass that somebody answered
    bool invio_no_app_collegati = true;   // report a pass that nobody answered
    std::int32_t tmp_app_accensione = 2;  // minutes from start to the first pass

    // Parses four numbers, separated by one character each. Each is stored at once, so those before
    // a bad one are changed.
    // @throws Exception "invalid " and the name of the first parameter that is no 32-bit number
    void parse(std::string_view text);

    // Decimal numbers and "1" or "0", joined by "!".
    std::string to_string() const;

    // In milliseconds, saturated to what a timer takes. The period is at least one minute: a period
    // of 0 would end the polling.
    std::uint32_t first_delay_ms() const;
    std::uint32_t period_ms() const;
};

}  // namespace teskd
