#include "core/app/AppObjects.h"

#include <cstdlib>

#include "aams/Aams.h"
#include "config/ZqConfig.h"
#include "core/Attempt.h"
#include "core/DescriptorLimit.h"
#include "core/Exception.h"
#include "core/Log.h"
#include "core/StandardError.h"
#include "core/Timer.h"
#include "core/app/PacketTypes.h"
#include "dorn/DornDeamon.h"
#include "dorn/DornNotify.h"
#include "telnet/Telnet.h"
#include "tesk/TeskController.h"

namespace teskd {

namespace {

// Passes the engine's packets on to the notifier, which is built after the engine. The engine
// cannot be given the notifier itself: a reference must not be converted to a base class before the
// object is constructed.
class WayToNotifier final : public PacketContainer {
  public:
    explicit WayToNotifier(DornNotify& notifier) : notifier_(notifier) {}
    void addPacket(Packet* packet) override { notifier_.addPacket(packet); }

  private:
    DornNotify& notifier_;
};

// Built during static initialisation, in the order of the members; destroyed in reverse order when
// the process exits. The configuration and the telnet timer are built before it and outlive it.
class AppObjects {
  public:
    AppObjects() = default;

    // Ends every thread first, so that no thread uses a member while it is destroyed. Masters end
    // before connections, since they complete what the connections wait for. A step that fails (out
    // of memory) does not prevent the next one.
    ~AppObjects() noexcept(false) {
        aams.stop();
        dornDeamon.stop();
        dornNotify.stop();
        timer.stop();
        teskController.shut_down();
        aams.awaitEnd();
        dornNotify.awaitEnd();
        dornDeamon.awaitEnd();
        attempt("Closing the engine", [this] { aams.closeContainer(); });
        attempt("Closing the notifier", [this] { dornNotify.closeContainer(); });
        dornDeamon.await_connections();
    }

  private:
    const Timer& telnetTimer_ = Telnet::internalTimer();
    const ZqConfig& config_ = getConfig();
    WayToNotifier wayToNotifier_{dornNotify};

  public:
    Aams aams{teskController, wayToNotifier_, timer};
    TeskController teskController{TeskController::WhenLost::ASK};
    DornDeamon dornDeamon{teskController, aams, createPacket};
    DornNotify dornNotify;
    Timer timer;
};

// Says so on standard error, too, for whoever started it: the service, a shell, the init script.
[[noreturn]] void giveUpStarting(const Exception& e) {
    StandardError::inherited().write("teskd cannot start: ", e.text());
    Log::write(Log::ERROR, "Cannot start: %s", e.text());
    std::exit(EXIT_FAILURE);
}

// Catches exceptions, since one that left the static initialisation would end the process by a
// signal. The limit is raised before the first object with a descriptor is built; if the daemon is
// disabled, it stays as it was, for the program that the process becomes.
AppObjects& build() {
    AppObjects* built = nullptr;
    attemptOr(
        [&built] {
            if (ZqConfig::is_tesk_enabled()) raiseDescriptorLimit();
            static AppObjects objects;
            built = &objects;
        },
        giveUpStarting);
    return *built;
}

AppObjects& appObjects = build();

}  // namespace

Aams& getAams() {
    return appObjects.aams;
}
TeskController& getTeskController() {
    return appObjects.teskController;
}
DornDeamon& getDornDeamon() {
    return appObjects.dornDeamon;
}
DornNotify& getDornNotify() {
    return appObjects.dornNotify;
}
Timer& getTimer() {
    return appObjects.timer;
}

}  // namespace teskd
