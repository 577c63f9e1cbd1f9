// The four parameters that steer the automatic polling.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace teskd {

// Plain values; whoever shares them locks. "minutes!flag!flag!minutes" as text.
struct ExternalParameters {
    bool operator==(const ExternalParameters&) const = default;

    std::int32_t tmp_app_collegati = 1;   // minutes between two polling passes
    bool invio_app_collegati = true;      // report a pass that somebody answered
    bool invio_no_app_collegati = true;   // report a pass that nobody answered
    std::int32_t tmp_app_accensione = 2;  // minutes from start to the first pass

    // Reads the four numbers, one character between two of them. Each is stored as soon as it was
    // read, so what precedes a bad one is changed.
    // @throws Exception "invalid " and the name of the first parameter that is no 32-bit number
    void parse(std::string_view text);

    // Decimal numbers and "1" or "0", joined by "!".
    std::string to_string() const;

    // Milliseconds, saturated to what a timer takes. The period is a minute at least: one of
    // nothing would end the polling.
    std::uint32_t first_delay_ms() const;
    std::uint32_t period_ms() const;
};

}  // namespace teskd
