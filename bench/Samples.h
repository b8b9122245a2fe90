#pragma once

#include "TempDir.h"

#include <string>
#include <vector>

namespace Kelvra::SCADA::Bench {

/// A private temporary directory with sample storages and lists.
class Samples : public Test::TempDir {
public:
    /// Makes a storage of `count` definitions, numbered from `first`, each with its decoder, a hundred per directory.
    void addStorage(const std::string& dir, int count, int first = 0) const;

    /// Makes a list of `count` sensors that use a storage of `definitions` definitions.
    void addList(const std::string& file, int count, int definitions) const;
};

/// Returns the name of definition number `index`.
std::string definitionName(int index);

/// Returns the identifier of sensor number `index`, in upper case, as devices print it.
std::string sensorId(int index);

/// Opens and reads a whole file, as a host program would.
std::string readWhole(const std::string& path);

} // namespace Kelvra::SCADA::Bench
