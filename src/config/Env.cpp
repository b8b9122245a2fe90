#include <scada/Env.h>

namespace Kelvra::SCADA {

Env& Env::inst() {
    static Env instance;
    return instance;
}

Conf& Env::conf() {
    return record;
}

const Conf& Env::conf() const {
    return record;
}

} // namespace Kelvra::SCADA
