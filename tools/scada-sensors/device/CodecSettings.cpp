#include "device/CodecSettings.h"

namespace Kelvra::SCADA::Tool {

CodecSettings& codecSettings() {
    static CodecSettings settings;
    return settings;
}

} // namespace Kelvra::SCADA::Tool
