// Times and dates in the forms that messages, tables and JSON use.
//
// Ownership: plain values. Threads: any. Errors: nothing throws.

#pragma once

#include <string>

namespace dornctl {

// The present local time: "YYMMDDhhmmss"
std::string nowStamp();
// "YYYY-MM-DD hh:mm:ss"
std::string nowText();
// "YYYY-MM-DDThh:mm:ss+hh:mm", ISO 8601
std::string nowIso();

// A stamp of the gateway, "YYMMDDhhmmss", in ISO 8601. It has no zone, so that of this process is
// assumed. Any other text is returned unchanged.
std::string isoStamp(const std::string& stamp);
// The time from one stamp of the gateway to another; 0 for texts that are no stamps.
double secondsBetween(const std::string& first, const std::string& second);
// "dd.mm.yy" as "20yy-mm-dd"; any other text is returned unchanged.
std::string isoDate(const std::string& date);

}  // namespace dornctl
