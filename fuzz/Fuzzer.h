// What every fuzzer defines: takes one input, returns 0. A crash, a report of a sanitizer or an
// exception that leaves is a finding.
#pragma once

#include <cstddef>
#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);
