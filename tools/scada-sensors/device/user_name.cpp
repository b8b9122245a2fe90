#include "device/user_name.h"

#include <pwd.h>

namespace Kelvra::SCADA::Tool {

std::string userName(uid_t user) {
    const passwd* known = getpwuid(user); // NOLINT(concurrency-mt-unsafe)
    return known == nullptr ? std::to_string(user) : known->pw_name;
}

} // namespace Kelvra::SCADA::Tool
