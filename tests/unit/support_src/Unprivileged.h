// Files as somebody sees them whom permissions apply to.
#pragma once

#include <cerrno>
#include <gtest/gtest.h>
#include <system_error>
#include <unistd.h>

namespace teskd::test {

// While it lives, root is nobody; a user without privileges stays what he is. Threads: one at a
// time in the process. Where privileges cannot be given up, the test cannot pass.
class Unprivileged {
  public:
    static constexpr uid_t NOBODY = 65534;

    Unprivileged() {
        if (::geteuid() == 0 && ::seteuid(NOBODY) != 0) {
            throw std::system_error(errno, std::generic_category(), "seteuid");
        }
    }
    ~Unprivileged() {
        if (::getuid() == 0) {
            EXPECT_EQ(0, ::seteuid(0));
        }
    }
    Unprivileged(const Unprivileged&) = delete;
    Unprivileged& operator=(const Unprivileged&) = delete;
};

}  // namespace teskd::test
