#pragma once

#include <string>
#include <vector>

namespace Kelvra::SCADA::Bench {

/// A private temporary directory with sample storages and lists, removed with the object.
class Samples {
public:
    Samples();
    ~Samples();
    Samples(const Samples&) = delete;
    Samples& operator=(const Samples&) = delete;

    std::string operator/(const std::string& relative) const { return root + "/" + relative; }

    /// Makes a storage of `count` definitions from the number `first` on, each with its decoder, spread over
    /// directories of a hundred.
    void addStorage(const std::string& dir, int count, int first = 0) const;

    /// Makes a list of `count` sensors over the definitions of a storage of `definitions`.
    void addList(const std::string& file, int count, int definitions) const;

private:
    std::string root;
};

/// The name of the definition number `index`.
std::string definitionName(int index);

/// The identifier of the sensor number `index`, in upper case as devices print it.
std::string sensorId(int index);

/// Opens and reads a file whole, as a host program would.
std::string readWhole(const std::string& path);

} // namespace Kelvra::SCADA::Bench
