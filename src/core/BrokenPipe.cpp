#include "core/BrokenPipe.h"

#include <csignal>

namespace teskd {

void surviveBrokenPipes() {
    std::signal(SIGPIPE, [](int) {});
}

}  // namespace teskd
