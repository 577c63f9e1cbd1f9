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

// A stamp of the gateway, "YYMMDDhhmmss", in ISO 8601. It has no zone: it is read as a time of the
// zone that this process runs in. Any other text comes back as it is.
std::string isoStamp(const std::string& stamp);
// From one stamp of the gateway to another; 0 for texts that are none.
double secondsBetween(const std::string& first, const std::string& second);
// "dd.mm.yy" as "20yy-mm-dd"; any other text comes back as it is.
std::string isoDate(const std::string& date);

}  // namespace dornctl
