#include "faults/FaultControl.h"

#include <cerrno>
#include <fcntl.h>
#include <sstream>
#include <sys/mman.h>
#include <system_error>
#include <unistd.h>

#include "support/UniqueFd.h"

namespace teskd::test {

FaultControl::FaultControl(const std::filesystem::path& root) {
    const std::filesystem::path file = root / FaultPage::kName;
    const UniqueFd fd(::open(file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
    if (!fd.valid() || ::ftruncate(fd.get(), sizeof(FaultPage)) != 0) {
        throw std::system_error(errno, std::generic_category(), file);
    }
    void* const memory =
        ::mmap(nullptr, sizeof(FaultPage), PROT_READ | PROT_WRITE, MAP_SHARED, fd.get(), 0);
    if (memory == MAP_FAILED) throw std::system_error(errno, std::generic_category(), file);
    page_ = new (memory) FaultPage;
}

FaultControl::~FaultControl() {
    ::munmap(page_, sizeof(FaultPage));
}

void FaultControl::order(Call call, int error, std::uint64_t first, std::uint64_t count) {
    cancel();
    page_->error = error;
    page_->first = first;
    page_->count = first == 0 ? 0 : count;
    page_->calls = 0;
    page_->failed = 0;
    page_->call = call;
}

void FaultControl::cancel() {
    page_->call = Call::none;
}

std::string FaultControl::place() const {
    std::ostringstream text;
    text << "addr2line -Cfpie " << TESKD_FAILING_BINARY << std::hex;
    for (const auto& address : page_->where) {
        if (address == 0) break;
        text << " 0x" << address - 1;
    }
    return text.str();
}

}  // namespace teskd::test
