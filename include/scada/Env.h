#pragma once

#include <scada/Conf.h>
#include <scada/export.h>

namespace Kelvra {
namespace SCADA {

/// The process-wide configuration record. The registry, the map and the deployment read it afresh on each operation;
/// the database classes do not read it. Any thread may make the first call of inst(); the record itself is not
/// synchronised.
class SCADA_EXPORT Env {
public:
    /// Returns the only instance and creates it on the first call. Valid until the process exits.
    static Env& inst();

    /// Returns the configuration record. Valid until the process exits.
    Conf& conf();
    /// Returns the same record for reading.
    const Conf& conf() const;

    Env(const Env&) = delete;
    Env& operator=(const Env&) = delete;

private:
    Env() = default;

    Conf record;
};

} // namespace SCADA
} // namespace Kelvra
