#include "soak/Shift.h"

namespace teskd::soak {

void Shift::work(const Stage& stage, const std::function<void()>& act) {
    while (!stage.isOver()) {
        if (stage.isTrouble()) {
            idle_ = false;
            act();
        } else {
            idle_ = true;
            stage.awaitEndOf(Stage::Act::Calm);
        }
    }
    idle_ = true;
}

}  // namespace teskd::soak
