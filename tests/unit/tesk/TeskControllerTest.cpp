#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <malloc.h>
#include <random>
#include <set>
#include <unistd.h>

#include "support/Listener.h"
#include "support/ProcInfo.h"
#include "support_src/LimitedDescriptors.h"
#include "support_src/LogRecorder.h"
#include "support_src/Thrown.h"
#include "tesk/PortConfig.h"
#include "tesk/Request.h"
#include "tesk/TeskController.h"
#include "tesksim/Machine.h"

namespace teskd::test {
namespace {

using Names = std::list<std::string>;

class TeskControllerTest : public testing::Test {
  protected:
    ~TeskControllerTest() noexcept override = default;

    void build(const std::string& ports) {
        config.set("[SLOT_MACHINE] PORT_ASYNC", ports);
        controller.emplace();
    }
    // What happens when the machine on the port's line shows this CodeId.
    void answer(int port, const std::string& codeId) {
        const Names names = controller->get_identities();
        for (const std::string& name : names) {
            if (controller->get_port(name) != port) continue;
            if (name != codeId) controller->rename(name, codeId);
            return;
        }
        FAIL() << "port " << port << " has no name";
    }

    PortConfig config;
    std::optional<TeskController> controller;
};

TEST_F(TeskControllerTest, HasFourMachinesByDefault) {
    controller.emplace();
    EXPECT_EQ((Names{"SlotMachine_1", "SlotMachine_2", "SlotMachine_3", "SlotMachine_4"}),
              controller->get_identities());
    EXPECT_EQ(1, controller->get_port("SlotMachine_1"));
    EXPECT_EQ(4, controller->get_port("SlotMachine_4"));
    EXPECT_EQ("127.0.0.1:2100", ZqConfig::get_port_address(1));
    EXPECT_EQ("127.0.0.1:2400", ZqConfig::get_port_address(4));
}

TEST_F(TeskControllerTest, StartsNoThread) {
    const std::size_t before = threadCount(::getpid());
    controller.emplace();
    EXPECT_EQ(before, threadCount(::getpid()));
    EXPECT_FALSE(controller->is_connected("SlotMachine_1"));
}

TEST_F(TeskControllerTest, ListsTheMachinesInTheOrderOfTheirNames) {
    build("2, 10, 1");
    EXPECT_EQ((Names{"SlotMachine_1", "SlotMachine_10", "SlotMachine_2"}),
              controller->get_identities());
    EXPECT_EQ(10, controller->get_port("SlotMachine_10"));
    controller->rename("SlotMachine_10", "AB");
    EXPECT_EQ((Names{"SlotMachine_1", "AB", "SlotMachine_2"}), controller->get_identities());
}

TEST_F(TeskControllerTest, APortListedTwiceIsOneMachine) {
    build("3,3,3");
    EXPECT_EQ(Names{"SlotMachine_3"}, controller->get_identities());
    EXPECT_EQ(3, controller->get_port("SlotMachine_3"));
}

TEST_F(TeskControllerTest, APortBehindTheMostThereMayBeIsLeftOutWithOneLine) {
    std::string ports;
    for (int port = 1; port <= 4096; ++port) ports += std::to_string(port) + ",";
    const LogRecorder log;
    build(ports);
    EXPECT_EQ(4096U, controller->get_machines().size());
    EXPECT_TRUE(log.lines().empty());
    build(ports + "4097,4098");
    EXPECT_EQ(4096U, controller->get_machines().size());
    EXPECT_EQ(4096, controller->get_port("SlotMachine_4096"));
    EXPECT_EQ((std::vector{LogEntry{
                  180, "PORT_ASYNC lists more than 4096 serial ports; the others are left out"}}),
              log.lines());
}

TEST_F(TeskControllerTest, AnEmptyListIsNoMachine) {
    build("");
    EXPECT_EQ(Names{}, controller->get_identities());
    EXPECT_THROW(controller->is_connected("SlotMachine_1"), UnknownCodeIdException);
}

TEST_F(TeskControllerTest, APortWithoutDefaultsIsAMachineWithoutAnAddress) {
    build("5");
    EXPECT_EQ(5, controller->get_port("SlotMachine_5"));
    const Request request(113);
    controller->send("SlotMachine_5", request.packet());
    EXPECT_EQ("error: IOException: SocketException: UnknownHostException: :", request.outcome());
}

TEST_F(TeskControllerTest, PortsTakeNoDescriptorsBeforeTheirFirstRequest) {
    const LimitedDescriptors few(static_cast<rlim_t>(nextDescriptor()) + 2);
    build("1,2,3,4");
    EXPECT_EQ((Names{"SlotMachine_1", "SlotMachine_2", "SlotMachine_3", "SlotMachine_4"}),
              controller->get_identities());
}

// The next request finds whatever descriptors there are then.
TEST_F(TeskControllerTest, ARequestForWhichNoDescriptorIsLeftFails) {
    build("1");
    const Request request(113);
    const LimitedDescriptors none(static_cast<rlim_t>(nextDescriptor()));
    controller->send("SlotMachine_1", request.packet());
    EXPECT_THAT(request.outcome(), testing::HasSubstr("Too many open files"));
}

TEST_F(TeskControllerTest, NobodyIsFoundUnderAnUnknownName) {
    build("1");
    const Request request(113);
    const std::string error = "Unknown CodeId: ABC";
    using Unknown = UnknownCodeIdException;
    EXPECT_EQ(error, messageOf<Unknown>([&] { controller->send("ABC", request.packet()); }));
    EXPECT_EQ(error,
              messageOf<Unknown>([&] { controller->cancel_request("ABC", request.packet()); }));
    EXPECT_EQ(error, messageOf<Unknown>([&] { controller->get_maximum("ABC", "k"); }));
    EXPECT_EQ(error, messageOf<Unknown>([&] { controller->update_maximum("ABC", "k", 1); }));
    EXPECT_EQ(error, messageOf<Unknown>([&] { controller->set_maximum("ABC", "k", 1); }));
    EXPECT_EQ(error, messageOf<Unknown>([&] { controller->is_connected("ABC"); }));
    EXPECT_EQ(error, messageOf<Unknown>([&] { controller->get_port("ABC"); }));
    EXPECT_EQ(error, messageOf<Unknown>([&] { controller->rename("ABC", "DEF"); }));
    EXPECT_EQ("Unknown CodeId: ", messageOf<Unknown>([&] { controller->get_port(""); }));
    EXPECT_FALSE(request.ended());
    EXPECT_EQ(Names{"SlotMachine_1"}, controller->get_identities());
}

// Bytes that the process has allocated; 0 where the allocator does not tell.
std::size_t allocated() {
    return ::mallinfo2().uordblks;
}

TEST_F(TeskControllerTest, UnknownNamesLeaveNothingBehind) {
    build("1");
    const std::size_t before = allocated();
    for (int i = 0; i < 20'000; ++i) {
        const std::string name = "unknown machine number " + std::to_string(i);
        EXPECT_THROW(controller->is_connected(name), UnknownCodeIdException);
        EXPECT_THROW(controller->rename(name, "AB"), UnknownCodeIdException);
    }
    EXPECT_GE(before + 100'000, allocated());
}

TEST_F(TeskControllerTest, CodeIdsThatComeAndGoLeaveNothingBehind) {
    build("1");
    const std::size_t before = allocated();
    for (int i = 0; i < 20'000; ++i) answer(1, "a machine with number " + std::to_string(i));
    EXPECT_GE(before + 100'000, allocated());
}

TEST_F(TeskControllerTest, TheNewNameReplacesTheOldOne) {
    build("1,2");
    controller->rename("SlotMachine_2", "ABC");
    EXPECT_EQ((Names{"SlotMachine_1", "ABC"}), controller->get_identities());
    EXPECT_EQ(2, controller->get_port("ABC"));
    EXPECT_FALSE(controller->is_connected("ABC"));
    EXPECT_EQ("Unknown CodeId: SlotMachine_2", messageOf<UnknownCodeIdException>([&] {
                  controller->is_connected("SlotMachine_2");
              }));
    EXPECT_EQ(1, controller->get_port("SlotMachine_1"));
}

TEST_F(TeskControllerTest, ANameMayBeReplacedAgainAndAgain) {
    build("1");
    controller->rename("SlotMachine_1", "AA");
    controller->rename("AA", "BB");
    controller->rename("BB", "AA");
    controller->rename("AA", "AA");
    EXPECT_EQ(Names{"AA"}, controller->get_identities());
    EXPECT_EQ(1, controller->get_port("AA"));
    EXPECT_THROW(controller->get_port("BB"), UnknownCodeIdException);
}

TEST_F(TeskControllerTest, ACodeIdThatMovesToAnotherPortIsBoundToThatPort) {
    build("1,2");
    answer(1, "AA");
    answer(2, "AA");
    EXPECT_EQ(2, controller->get_port("AA"));
    EXPECT_EQ(1, controller->get_port("SlotMachine_1"));
    EXPECT_EQ((Names{"SlotMachine_1", "AA"}), controller->get_identities());
}

TEST_F(TeskControllerTest, SwappedMachinesEndUpUnderTheirCodeIds) {
    build("1,2");
    answer(1, "AA");
    answer(2, "BB");
    answer(1, "BB");
    EXPECT_EQ(1, controller->get_port("BB"));
    answer(2, "AA");
    EXPECT_EQ(1, controller->get_port("BB"));
    EXPECT_EQ(2, controller->get_port("AA"));
    EXPECT_EQ((Names{"BB", "AA"}), controller->get_identities());
}

TEST_F(TeskControllerTest, TwoMachinesWithOneCodeIdBothKeepAName) {
    build("1,2");
    for (int round = 0; round < 3; ++round) {
        answer(1, "AA");
        EXPECT_EQ((Names{"AA", "SlotMachine_2"}), controller->get_identities());
        answer(2, "AA");
        EXPECT_EQ((Names{"SlotMachine_1", "AA"}), controller->get_identities());
    }
}

TEST_F(TeskControllerTest, ACodeIdThatIsAnotherPortsFixedNameTakesNobodysName) {
    build("1,2");
    answer(1, "SlotMachine_2");
    EXPECT_EQ(1, controller->get_port("SlotMachine_2"));
    EXPECT_EQ(2, controller->get_port("SlotMachine_1"));
    answer(2, "BB");
    EXPECT_EQ(2, controller->get_port("BB"));
    EXPECT_EQ((Names{"SlotMachine_2", "BB"}), controller->get_identities());
}

// Whatever the machines show, in whatever order: every line keeps a name of its own, and the one
// that answered last has the CodeId that it showed.
TEST_F(TeskControllerTest, NoOrderOfAnswersLosesAMachine) {
    build("1,2,3,4");
    const std::string codes[] = {
        "AA", "BB", "CC", "SlotMachine_1", "SlotMachine_2", "SlotMachine_4", "DD"};
    std::mt19937 random(20210315);
    for (int step = 0; step < 20'000; ++step) {
        const int port = static_cast<int>(random() % 4) + 1;
        const std::string& code = codes[random() % 7];
        answer(port, code);
        ASSERT_EQ(port, controller->get_port(code));
        const Names names = controller->get_identities();
        std::set<int> ports;
        for (const std::string& name : names) ports.insert(controller->get_port(name));
        ASSERT_EQ((std::set<int>{1, 2, 3, 4}), ports) << testing::PrintToString(names);
    }
}

TEST_F(TeskControllerTest, MaximaAreKeptPerMachineAndKey) {
    build("1,2");
    EXPECT_EQ(0, controller->get_maximum("SlotMachine_1", "k"));
    controller->update_maximum("SlotMachine_1", "k", 5);
    controller->update_maximum("SlotMachine_1", "k", 3);
    EXPECT_EQ(5, controller->get_maximum("SlotMachine_1", "k"));
    controller->update_maximum("SlotMachine_1", "k", 6);
    EXPECT_EQ(6, controller->get_maximum("SlotMachine_1", "k"));
    EXPECT_EQ(0, controller->get_maximum("SlotMachine_1", "other"));
    EXPECT_EQ(0, controller->get_maximum("SlotMachine_2", "k"));
}

TEST_F(TeskControllerTest, AMaximumBelowZeroIsNoMaximum) {
    build("1");
    controller->update_maximum("SlotMachine_1", "k", -5);
    EXPECT_EQ(0, controller->get_maximum("SlotMachine_1", "k"));
}

TEST_F(TeskControllerTest, AMaximumMayBeSetBack) {
    build("1");
    controller->update_maximum("SlotMachine_1", "k", 5);
    controller->set_maximum("SlotMachine_1", "k", 2);
    EXPECT_EQ(2, controller->get_maximum("SlotMachine_1", "k"));
}

TEST_F(TeskControllerTest, MaximaStayWithTheMachineThatIsRenamed) {
    build("1");
    controller->update_maximum("SlotMachine_1", "k", 5);
    controller->rename("SlotMachine_1", "AA");
    EXPECT_EQ(5, controller->get_maximum("AA", "k"));
}

class TeskControllerOfTwoMachines : public TeskControllerTest {
  protected:
    TeskControllerOfTwoMachines() {
        one.start();
        two.start();
        config.serialPorts({one.port(), two.port()});
        controller.emplace();
    }
    std::string ask(const std::string& name) {
        const Request request(113);
        controller->send(name, request.packet());
        return request.outcome();
    }

    tesksim::Machine one{{.codeId = "ZA000000001"}};
    tesksim::Machine two{{.codeId = "ZA000000002"}};
};

TEST_F(TeskControllerOfTwoMachines, AreKnownByTheirCodeIdsFromTheirFirstAnswerOn) {
    EXPECT_EQ("completed", ask("SlotMachine_2"));
    EXPECT_TRUE(controller->is_connected("ZA000000002"));
    EXPECT_EQ(2, controller->get_port("ZA000000002"));
    EXPECT_EQ("Unknown CodeId: SlotMachine_2", messageOf<UnknownCodeIdException>([&] {
                  controller->is_connected("SlotMachine_2");
              }));
    EXPECT_FALSE(controller->is_connected("SlotMachine_1"));
    EXPECT_EQ((Names{"SlotMachine_1", "ZA000000002"}), controller->get_identities());
    EXPECT_EQ("completed", ask("ZA000000002"));
    EXPECT_EQ(1U, two.journal().connections());
    EXPECT_EQ(0U, one.journal().connections());
}

TEST_F(TeskControllerOfTwoMachines, ThatAreSwappedAreFoundAgain) {
    EXPECT_EQ("completed", ask("SlotMachine_1"));
    EXPECT_EQ("completed", ask("SlotMachine_2"));
    one.setCodeId("ZA000000002");
    two.setCodeId("ZA000000001");
    for (const std::string& name : controller->get_identities()) {
        EXPECT_EQ("completed", ask(name));
    }
    for (const std::string& name : controller->get_identities()) EXPECT_EQ("completed", ask(name));
    EXPECT_EQ(1, controller->get_port("ZA000000002"));
    EXPECT_EQ(2, controller->get_port("ZA000000001"));
}

// Asked again and again while the names change hands. By name the first is asked twice in every
// other round, since the name of the second is its own by then.
TEST_F(TeskControllerOfTwoMachines, WithOneCodeIdGoOnAnswering) {
    two.setCodeId("ZA000000001");
    for (int round = 0; round < 20; ++round) {
        for (const std::string& name : controller->get_identities()) {
            EXPECT_EQ("completed", ask(name)) << name;
        }
    }
    EXPECT_EQ(30U, one.journal().requests().size());
    EXPECT_EQ(10U, two.journal().requests().size());
}

TEST_F(TeskControllerOfTwoMachines, WithOneCodeIdAreAskedOnceEach) {
    two.setCodeId("ZA000000001");
    for (int round = 0; round < 20; ++round) {
        for (TeskMaster* const machine : controller->get_machines()) {
            const Request request(113);
            TeskController::send(*machine, request.packet());
            EXPECT_EQ("completed", request.outcome());
        }
    }
    EXPECT_EQ(20U, one.journal().requests().size());
    EXPECT_EQ(20U, two.journal().requests().size());
}

TEST_F(TeskControllerOfTwoMachines, AreReachedOnceFoundWhateverTheyAreCalledBy) {
    TeskMaster& machine = controller->find("SlotMachine_2");
    EXPECT_EQ("completed", ask("SlotMachine_2"));
    EXPECT_THROW(controller->find("SlotMachine_2"), UnknownCodeIdException);
    const Request request(115);
    TeskController::send(machine, request.packet());
    EXPECT_EQ("completed", request.outcome());
    EXPECT_EQ(0U, one.journal().connections());
    EXPECT_EQ(&machine, &controller->find("ZA000000002"));
    EXPECT_EQ(&machine, controller->get_machines().back());
    EXPECT_EQ(2U, controller->get_machines().size());
}

TEST_F(TeskControllerOfTwoMachines, ThatShowEachOthersFixedNamesGoOnAnswering) {
    one.setCodeId("SlotMachine_2");
    two.setCodeId("SlotMachine_1");
    for (int round = 0; round < 10; ++round) {
        for (const std::string& name : controller->get_identities()) {
            EXPECT_EQ("completed", ask(name)) << name;
        }
    }
    EXPECT_EQ(1, controller->get_port("SlotMachine_2"));
    EXPECT_EQ(2, controller->get_port("SlotMachine_1"));
}

TEST_F(TeskControllerOfTwoMachines, AnswerSideBySide) {
    one.setFaults({.silent = true});
    const Request never(113);
    controller->send("SlotMachine_1", never.packet());
    EXPECT_EQ("completed", ask("SlotMachine_2"));
    EXPECT_FALSE(never.ended());
    controller->shut_down();
    EXPECT_TRUE(never.outcome().starts_with("error: ")) << never.outcome();
}

}  // namespace
}  // namespace teskd::test
