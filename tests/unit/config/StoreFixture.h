// A test that edits the one store and leaves it as it was.
//
// Threads: one; the accessors read the store without a lock.

#pragma once

#include <gtest/gtest.h>
#include <string>

#include "config/ZqConfig.h"

namespace teskd::test {

class StoreFixture : public testing::Test {
  protected:
    StoreFixture() = default;
    ~StoreFixture() override { static_cast<ZqConfig::Map&>(getConfig()) = before_; }

    static void set(const std::string& key, const std::string& value) { getConfig()[key] = value; }

  private:
    const ZqConfig::Map before_ = getConfig();
};

}  // namespace teskd::test
