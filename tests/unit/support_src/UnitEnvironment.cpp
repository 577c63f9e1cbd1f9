#include "support_src/UnitEnvironment.h"

#include <cstdlib>
#include <gtest/gtest.h>
#include <memory>

#include "support_src/LogRecorder.h"
#include "support_src/RecordedDate.h"

namespace teskd::test {

namespace {

constexpr const char* kVariable = "TESKD_ROOT";

std::string currentRoot() {
    const char* root = std::getenv(kVariable);
    return root == nullptr ? "" : root;
}

class UnitEnvironment : public testing::Environment {
  public:
    void SetUp() override {
        LogRecorder::install();
        RecordedDate::install();
        root_ = std::make_unique<PrivateRoot>();
    }
    void TearDown() override { root_.reset(); }

  private:
    std::unique_ptr<PrivateRoot> root_;
};

[[maybe_unused]] const testing::Environment* const environment =
    testing::AddGlobalTestEnvironment(new UnitEnvironment);

}  // namespace

PrivateRoot::PrivateRoot() : before_(currentRoot()) {
    for (const char* folder : {"etc", "config", "tmp"}) {
        std::filesystem::create_directory(directory_ / folder);
    }
    ::setenv(kVariable, directory_.path().c_str(), 1);
}

PrivateRoot::~PrivateRoot() {
    // Never unset, so that code that still runs after the last test does not affect the machine.
    ::setenv(kVariable, before_.empty() ? "/nonexistent" : before_.c_str(), 1);
}

}  // namespace teskd::test
