// RFC 2217 values of serial line settings. The configuration reads their names, and telnet sends
// the values.
#pragma once

#include <string>

namespace teskd {

// Converts a setting's text to its value: a decimal number as is, or one of the words NONE, ODD,
// EVEN, MARK, SPACE, "No Flow", "XON/XOFF", "CTS/RTS" (exact case). Any thread.
// @throws TelnetFeatureNotAvailableException for any other word
int serialSettingValue(const std::string& text);

}  // namespace teskd
