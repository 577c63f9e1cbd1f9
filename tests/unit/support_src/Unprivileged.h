// Makes file permissions apply to a test that runs as root.
#pragma once

#include <cerrno>
#include <gtest/gtest.h>
#include <system_error>
#include <unistd.h>

namespace teskd::test {

// During its lifetime, root has the effective user id of nobody; other users are unchanged.
// Threads: one object at a time in the process. Errors: std::system_error if the user id cannot be
// changed.
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
