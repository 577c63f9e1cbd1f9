// The values of serial line settings, as RFC 2217 numbers them.
#pragma once

#include <string>

namespace teskd {

// What a setting's text means on the wire: a decimal number as it stands, or one of the words NONE,
// ODD, EVEN, MARK, SPACE, "No Flow", "XON/XOFF", "CTS/RTS" (exact case). Any thread.
// @throws TelnetFeatureNotAvailableException for any other word
int serialSettingValue(const std::string& text);

}  // namespace teskd
