#include "commands/limits.h"

#include "text/filled.h"

#include <CLI/CLI.hpp>

#include <cstdint>
#include <string>

namespace Kelvra::SCADA::Tool {

namespace {

// The conversions turn a negative or too large number into another one.
CLI::Validator isCount() {
    constexpr std::size_t MOST_LETTERS = 15;
    return {[](const std::string& text) {
                const bool starts = !text.empty() && text.front() >= '0' && text.front() <= '9';
                return starts && text.size() <= MOST_LETTERS ? std::string()
                                                             : filled("[%s] is not a number that can be used", {text});
            },
            ""};
}

CLI::Option* declareSize(CLI::App& app, const std::string& name, std::uint64_t* size, const std::string& help) {
    CLI::AsSizeValue asSize(false);
    asSize.description("");
    return app.add_option(name, *size, help)
        ->transform(asSize)
        ->check(isCount())
        ->type_name("BYTES")
        ->default_str(std::to_string(*size / IntakeLimits::MEGABYTE) + "M");
}

} // namespace

std::vector<CLI::Option*> declareLimits(CLI::App& app, IntakeLimits* limits) {
    return {declareSize(app, "--max-definition", &limits->definition,
                        "Largest definition that is accepted; 1K and 1M have 1024 and 1048576 bytes"),
            declareSize(app, "--max-decoder", &limits->decoder, "Largest decoder that is accepted"),
            declareSize(app, "--max-source", &limits->source, "Largest sum of all files that is accepted"),
            app.add_option("--max-definitions", limits->definitions, "Most definitions that are accepted")
                ->check(isCount())
                ->type_name("N")
                ->capture_default_str()};
}

CLI::Option* declareWithList(CLI::App& app, const std::string& help, bool* withList) {
    return app.add_flag("--with-list", *withList, help);
}

void declareNoCodec(CLI::App& app, bool* codec) {
    app.add_flag_callback(
        "--no-codec", [codec] { *codec = false; }, "Do not run the decoders and their examples");
}

} // namespace Kelvra::SCADA::Tool
