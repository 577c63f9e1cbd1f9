// What stands behind the length field of a header: station address, 20 reserved bytes, identifiers
// 7 and 8. A test that sends it finds it in the answer again.

#pragma once

#include <string>

#include "support/Bytes.h"

namespace teskd::test {

inline const std::string kRest = bytes(
    "11 22 33 44 55 66"
    "A0 A1 A2 A3 A4 A5 A6 A7 A8 A9 AA AB AC AD AE AF B0 B1 B2 B3"
    "00 00 00 07  00 00 00 08");

}  // namespace teskd::test
