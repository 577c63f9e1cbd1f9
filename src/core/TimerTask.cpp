#include "core/TimerTask.h"

#include <utility>

namespace teskd {

TimerTask::TimerTask(std::string name) : name_(std::move(name)) {}

TimerTask::~TimerTask() noexcept(false) {
    cancelled_ = true;
}

}  // namespace teskd
