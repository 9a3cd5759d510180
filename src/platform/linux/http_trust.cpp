#include "platform/linux/http_trust.h"

namespace dm::platform {

const char *authorityFile() {
    return nullptr;
}

} // namespace dm::platform
