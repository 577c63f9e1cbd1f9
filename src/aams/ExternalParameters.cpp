#include "aams/ExternalParameters.h"

#include <algorithm>
#include <limits>

#include "core/Exception.h"
#include "core/Text.h"

namespace teskd {

namespace {

// Removes one number after another from the front of a text.
class NumberReader {
  public:
    explicit NumberReader(std::string_view text) : rest_(text) {}

    std::int32_t next(const char* name) {
        const text::Number number = text::parseNumber(rest_, 10);
        constexpr std::int32_t LOWEST = std::numeric_limits<std::int32_t>::min();
        constexpr std::int32_t HIGHEST = std::numeric_limits<std::int32_t>::max();
        if (number.consumed == 0 || number.value == LOWEST || number.value == HIGHEST) {
            throw Exception(std::string("invalid ") + name);
        }
        rest_.remove_prefix(std::min(number.consumed + 1, rest_.size()));
        return number.value;
    }

  private:
    std::string_view rest_;
};

std::uint32_t to_milliseconds(std::int32_t minutes) {
    constexpr std::int64_t MILLISECONDS_PER_MINUTE = 60000;
    constexpr std::int64_t HIGHEST = std::numeric_limits<std::uint32_t>::max();
    return static_cast<std::uint32_t>(
        std::clamp(minutes * MILLISECONDS_PER_MINUTE, std::int64_t{0}, HIGHEST));
}

}  // namespace

void ExternalParameters::parse(std::string_view text) {
    NumberReader numbers(text);
    tmp_app_collegati = numbers.next("tmp_app_collegati");
    invio_app_collegati = numbers.next("invio_app_collegati") != 0;
    invio_no_app_collegati = numbers.next("invio_no_app_collegati") != 0;
    tmp_app_accensione = numbers.next("tmp_app_accensione");
}

std::string ExternalParameters::to_string() const {
    return text::format("%d!%d!%d!%d", tmp_app_collegati, int{invio_app_collegati},
                        int{invio_no_app_collegati}, tmp_app_accensione);
}

std::uint32_t ExternalParameters::first_delay_ms() const {
    return to_milliseconds(tmp_app_accensione);
}

std::uint32_t ExternalParameters::period_ms() const {
    return to_milliseconds(std::max(tmp_app_collegati, 1));
}

}  // namespace teskd
