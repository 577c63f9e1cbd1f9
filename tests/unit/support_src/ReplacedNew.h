// Operators new that can fail. A binary that links ReplacedNew.cpp uses them instead of the
// library's, and defines allocationFails().

#pragma once

namespace teskd::test {

// Whether the current allocation has to fail. Called on any thread, also before main; must not
// allocate.
bool allocationFails() noexcept;

}  // namespace teskd::test
