// Any text as the value of a serial line setting.

#include "core/Exception.h"
#include "core/SerialSetting.h"
#include "fuzz/Fuzzer.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    try {
        teskd::serialSettingValue({reinterpret_cast<const char*>(data), size});
    } catch (const teskd::TelnetFeatureNotAvailableException&) {
        // The one error that may leave.
    }
    return 0;
}
