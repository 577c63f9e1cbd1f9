#include "core/Version.h"

namespace teskd {

const char* version() {
    return TESKD_VERSION;
}

}  // namespace teskd
