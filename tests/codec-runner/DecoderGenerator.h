#pragma once

#include <cstdint>
#include <random>
#include <string>

namespace Kelvra::SCADA::Test {

/// Generates random decoders: most are programs, some are tokens in any order, or programs with damaged bytes. A few
/// never end, or allocate memory without end. The same seed gives the same decoder.
class DecoderGenerator {
public:
    explicit DecoderGenerator(std::uint64_t seed) : chance(seed) {}

    std::string decoder();

private:
    /// Returns a number from 0 to `below` - 1.
    std::size_t number(std::size_t below) { return static_cast<std::size_t>(chance() % below); }
    template <typename Texts> std::string oneOf(const Texts& texts) { return texts[number(texts.size())]; }

    std::string program();
    std::string tokens();
    std::string damaged(std::string text);
    std::string statements(int levels);
    std::string statement(int levels);
    std::string expression(int levels);
    std::string arguments(int levels);
    std::string member();
    std::string literal();

    std::mt19937_64 chance;
};

} // namespace Kelvra::SCADA::Test
