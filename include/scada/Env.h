#pragma once

#include <scada/Conf.h>
#include <scada/export.h>

namespace Kelvra {
namespace SCADA {

/// The process-wide holder of the configuration record, which every other class reads afresh on each operation.
/// The first call of inst() may come from any thread; the record itself is not synchronised.
class SCADA_EXPORT Env {
public:
    /// Returns the one instance, built on the first call. Valid until the process exits.
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
