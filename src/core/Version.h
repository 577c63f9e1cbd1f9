// The version of this software: that of the packages, the tools and the manual pages.
//
// Threads: any. Errors: none. Needs nothing else of the daemon, so that the tools can link it
// alone (the library teskd_version).
#pragma once

namespace teskd {

// "1.2.3", from the project command in the top-level CMakeLists.txt. When it changes, only
// Version.cpp is compiled again. Type 7 does not answer this, but the setting ZQ_SW_VERSION.
const char* version();

}  // namespace teskd
