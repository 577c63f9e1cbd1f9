#include "tesksim/Pty.h"

#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <system_error>
#include <utility>

#include "tesksim/Endpoint.h"

namespace tesksim {

namespace {

[[noreturn]] void fail(const std::string& what) {
    throw std::system_error(errno, std::generic_category(), what);
}

}  // namespace

Pty::Pty(std::string link)
    : link_(std::move(link)), master_(::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC)) {
    char name[64];
    if (!master_.valid() || ::grantpt(master_.get()) != 0 || ::unlockpt(master_.get()) != 0 ||
        ::ptsname_r(master_.get(), name, sizeof name) != 0) {
        fail("pseudo-terminal");
    }
    name_ = name;
    slave_ = openTty(name_, SerialLine{});
    if (!slave_.valid()) fail(name_);
    if (!link_.empty()) makeLink();
}

Pty::~Pty() {
    if (!link_.empty()) ::unlink(link_.c_str());
}

tools::UniqueFd Pty::open() const {
    return tools::UniqueFd(::fcntl(master_.get(), F_DUPFD_CLOEXEC, 0));
}

void Pty::makeLink() {
    if (std::filesystem::is_symlink(link_)) ::unlink(link_.c_str());
    if (::symlink(name_.c_str(), link_.c_str()) != 0) fail(link_);
    name_ = link_;
}

}  // namespace tesksim
