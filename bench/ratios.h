#pragma once

#include <vector>

namespace Kelvra::SCADA::Bench {

/// The time of one benchmark divided by that of another, each per unit of work, and its upper limit.
struct Ratio {
    const char* name;
    const char* numerator;
    const char* denominator;
    double goal;                ///< printed next to it
    double workOfNumerator = 1; ///< in units of the work of the denominator
};

/// Prints one goal in the format of all benchmark programs.
void printRatio(const char* name, double value, double goal);

/// Runs `measure`. Returns the exit code of the program NAME: 1 if `measure` throws; the exception's text goes to
/// stderr.
int runMeasurement(const char* name, void (*measure)());

/// Runs the registered benchmarks with logging off, repeatedly and in mixed order. Prints the table and then one line
/// for each ratio, computed from the medians of the processor times. Returns the exit code: a missed goal is not a
/// failure, but a goal that was not measured is.
int runWithRatios(int argc, char** argv, const std::vector<Ratio>& ratios);

} // namespace Kelvra::SCADA::Bench
