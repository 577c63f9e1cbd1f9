#include <gtest/gtest.h>

#include "support/TempDir.h"
#include "tesksim/Console.h"
#include "tesksim/PortFile.h"

namespace tesksim {
namespace {

using namespace std::chrono_literals;

class ConsoleTest : public testing::Test {
  protected:
    ConsoleTest() {
        machines_.push_back(std::make_unique<Machine>());
        machines_.push_back(std::make_unique<Machine>());
    }

    Console::Machines machines_;
    Console console_{machines_};
};

TEST_F(ConsoleTest, SwitchesTheFaultsOfOneMachine) {
    EXPECT_EQ("ok", console_.execute("silent 2"));
    EXPECT_EQ("ok", console_.execute("slow 2 150"));
    EXPECT_TRUE(machines_[1]->faults().silent);
    EXPECT_EQ(150ms, machines_[1]->faults().delay);
    EXPECT_FALSE(machines_[0]->faults().silent);
    EXPECT_EQ("ok", console_.execute("ok 2"));
    EXPECT_FALSE(machines_[1]->faults().silent);
}

TEST_F(ConsoleTest, StartsStopsAndRenames) {
    EXPECT_EQ("ok", console_.execute("start 1"));
    EXPECT_TRUE(machines_[0]->isRunning());
    EXPECT_EQ("ok", console_.execute("stop 1"));
    EXPECT_FALSE(machines_[0]->isRunning());
    EXPECT_EQ("ok", console_.execute("code-id 1 XYZ"));
    EXPECT_EQ("XYZ", machines_[0]->codeId());
    EXPECT_NE(std::string::npos, console_.execute("show 1").find("stopped"));
}

TEST_F(ConsoleTest, TellsWhatItDoesNotUnderstand) {
    for (const char* line :
         {"silent", "silent 0", "silent 3", "silent x", "jump 1", "slow 1 x", "body 1"}) {
        EXPECT_EQ(0U, console_.execute(line).rfind("error: ", 0)) << line;
    }
    EXPECT_EQ("", console_.execute(""));
    EXPECT_FALSE(console_.done());
    console_.execute("quit");
    EXPECT_TRUE(console_.done());
}

TEST(ConsolePortFile, HasALineForEveryMachine) {
    const teskd::test::TempDir directory;
    writePortFile(directory / "ports", {2100, 2200});
    EXPECT_EQ("1 2100\n2 2200\n", teskd::test::readFile(directory / "ports"));
    EXPECT_FALSE(std::filesystem::exists(directory / "ports.new"));
    EXPECT_THROW(writePortFile(directory / "missing/ports", {}), std::runtime_error);
}

}  // namespace
}  // namespace tesksim
