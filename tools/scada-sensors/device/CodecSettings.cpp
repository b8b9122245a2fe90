#include "device/CodecSettings.h"

namespace Kelvra::SCADA::Tool {

CodecSettings& codecSettings() {
    static CodecSettings settings = [] {
        CodecSettings built;
        built.runner.assign(SCADA_CODEC_RUNNER);
        return built;
    }();
    return settings;
}

} // namespace Kelvra::SCADA::Tool
