#pragma once

#include <vector>

namespace Kelvra::SCADA::Bench {

/// The time of one benchmark divided by that of another, each over its amount of work, and what it may be at most.
struct Ratio {
    const char* name;
    const char* numerator;
    const char* denominator;
    double goal;                ///< printed beside it
    double workOfNumerator = 1; ///< in units of the work of the denominator
};

/// Prints one goal, in the form of all benchmark programs.
void printRatio(const char* name, double value, double goal);

/// Runs `measure` and returns the exit code of the program NAME: 1 when it throws, with its text on stderr.
int runMeasurement(const char* name, void (*measure)());

/// Runs the registered benchmarks with logging off, repeated and in mixed order, and prints the table and then, from
/// the medians of the processor times, one line for each ratio. Returns the exit code: a missed goal is no failure, one
/// that was not measured is.
int runWithRatios(int argc, char** argv, const std::vector<Ratio>& ratios);

} // namespace Kelvra::SCADA::Bench
