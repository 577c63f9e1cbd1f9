// Operators new that ask whether they are to fail. A binary that links ReplacedNew.cpp has them in
// place of the library's, and defines the answer.

#pragma once

namespace teskd::test {

// Whether the allocation that is being made is to fail. On any thread, and before main as well; it
// must not allocate.
bool allocationFails() noexcept;

}  // namespace teskd::test
