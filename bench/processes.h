#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

namespace Kelvra::SCADA::Bench {

using Words = std::vector<std::string>;

/// The resources that a process has taken.
struct Cost {
    double seconds = 0; ///< of processor time, the system's included
    double kilobytes = 0;
    long blocksRead = 0; ///< from the disk, of 512 bytes
};

/// Runs a program to its end. Throws std::runtime_error when it fails.
Cost run(Words words, const std::string& output = "/dev/null");

/// The same for a child that has been started.
Cost awaited(pid_t child, const std::string& program);

/// REQUIRES: there are values.
double median(std::vector<double> values);

/// Runs a program without its output. Returns the seconds by the clock. Throws when it ends with another status than 0.
double secondsOf(const Words& line, const std::string& input = "/dev/null");

/// The medians of two pieces of work that run alternately, so that a busy machine slows both equally. Each returns its
/// seconds.
struct Pair {
    template <typename One, typename Other> Pair(const One& one, const Other& other, int turns) {
        std::vector<double> ofOne;
        std::vector<double> ofOther;
        for (int turn = 0; turn < turns; ++turn) {
            ofOne.push_back(one());
            ofOther.push_back(other());
        }
        first = median(ofOne);
        second = median(ofOther);
    }

    double first = 0;
    double second = 0;
};

} // namespace Kelvra::SCADA::Bench
