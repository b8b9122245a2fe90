#pragma once

#include "answer/Answer.h"
#include "answer/FieldList.h"
#include "device/ManagedList.h"

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace Kelvra::SCADA::Tool {

/// The sensor that the user asks for, as the list has it; the source may be left out.
struct AskedSensor {
    std::optional<std::string> src;
    std::string id;
    std::string givenSrc; ///< as typed
    std::string givenId;
    std::vector<std::string> rest; ///< the remaining words
};

/// The meaning of the first word if the list has no such source.
enum class FirstWord {
    SOURCE,     ///< as a source, unless there are two words and it is an identifier
    IDENTIFIER, ///< as an identifier
};

/// Reads the words of the command line. REQUIRES: there is at least one.
AskedSensor readSensor(const ManagedList& list, const std::vector<std::string>& words, FirstWord unknown);

/// Returns the elements of the sensor, including faulty ones.
std::vector<const ListElement*> elementsOf(const ManagedList& list, const AskedSensor& asked);

/// Says that the list has no such sensor.
std::string unknownSensor(const AskedSensor& asked);

/// Returns the element in force of the sensor. If there is none, answers why, puts the exit code
/// into `*code` and returns null.
const ListElement* findSensor(const ManagedList& list, const AskedSensor& asked, const Answer& answer, ExitCode* code);

/// Does `work` with the element in force of the sensor that the words name, or answers why there is none.
using SensorWork = std::function<ExitCode(const ListElement& element, const AskedSensor& asked)>;
ExitCode withSensor(const ManagedList& list, const std::vector<std::string>& words, const Answer& answer,
                    const SensorWork& work);

/// Returns the words that name the sensor on a command line, for a shell.
std::string wordsOf(const ListElement& element);

/// Adds the file of the list and one of its elements.
void addElement(const ManagedList& list, const ListElement& element, FieldList* fields);

} // namespace Kelvra::SCADA::Tool
