// An end by abort, which writes what a coverage build has counted, as an end by exit does.

extern "C" {
// NOLINTBEGIN(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)
// The coverage library's; a build that counts nothing has none.
[[gnu::weak]] void __gcov_dump();
// The linker's names for "instead of abort" and "abort itself".
[[noreturn]] void __real_abort();
[[noreturn]] void __wrap_abort();
void __wrap_abort() {
    if (__gcov_dump != nullptr) __gcov_dump();
    __real_abort();
}
// NOLINTEND(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)
}
