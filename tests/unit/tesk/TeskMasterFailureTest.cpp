// What else than its link may fail a run: memory, and whatever a request throws.

#include <functional>
#include <new>
#include <stdexcept>
#include <utility>

#include "MasterFixture.h"
#include "core/Exception.h"

namespace teskd::test {
namespace {

// Throws when it is to be written, on the machine's own thread.
class Unwritable : public TeskPacket {
  public:
    explicit Unwritable(std::function<void()> problem) : problem_(std::move(problem)) {}
    void write(OutputStream&) override { problem_(); }

  private:
    const std::function<void()> problem_;
};

class TeskMasterFailure : public MasterFixture {
  protected:
    // How a request that throws this ends.
    std::string outcomeOf(std::function<void()> problem) {
        RecordingListener listener;
        const PacketHandle<TeskPacket> request(new Unwritable(std::move(problem)));
        request->addListener(&listener);
        controller().send(kName, request.pointer());
        EXPECT_TRUE(eventually([&] { return !listener.outcomes().empty(); }));
        request->removeListener(&listener);
        const std::vector<Outcome> outcomes = listener.outcomes();
        return outcomes.size() == 1 ? outcomes[0].kind + ": " + outcomes[0].message : "not one";
    }
    // The line about it, and that the next request is served all the same.
    void expectLineAndService(const std::string& problem) {
        EXPECT_EQ(1U, log.count({180, "The link to 'ZA000000001' has failed: " + problem}));
        EXPECT_TRUE(eventually([this] { return ask(113) == "completed"; }));
    }
};

TEST_F(TeskMasterFailure, OfMemoryIsToldWithoutANewText) {
    EXPECT_EQ("error: std::bad_alloc", outcomeOf([] { throw std::bad_alloc(); }));
    expectLineAndService("std::bad_alloc");
}

TEST_F(TeskMasterFailure, OfAnyOtherKindIsToldAsOneOfTheLink) {
    EXPECT_EQ("error: TeskException: why", outcomeOf([] { throw std::runtime_error("why"); }));
    expectLineAndService("why");
}

TEST_F(TeskMasterFailure, OfTheDaemonsOwnKindIsToldAsItIs) {
    EXPECT_EQ("error: why", outcomeOf([] { throw Exception("why"); }));
    expectLineAndService("why");
}

}  // namespace
}  // namespace teskd::test
