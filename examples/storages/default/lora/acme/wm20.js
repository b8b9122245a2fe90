// WM20, port 2, 8 bytes: volume (uint32, l), flow (int16, l/h), temperature (uint8, 0.5 °C), state; little-endian.
// State: bit 7 leak, bits 0 and 1 the alarm.
var ALARMS = ["none", "dry", "burst", "frost"];

function decodeUplink(input) {
    var bytes = input.bytes;
    if (input.fPort !== 2 || bytes.length !== 8) {
        return { errors: ["WM20: expected 8 bytes on port 2"] };
    }
    return {
        data: {
            volume: (bytes[0] | (bytes[1] << 8) | (bytes[2] << 16) | (bytes[3] << 24)) >>> 0,
            flow: bytes[4] | ((bytes[5] << 24) >> 16),
            temperature: bytes[6] / 2,
            leak: (bytes[7] & 0x80) !== 0,
            alarm: ALARMS[bytes[7] & 0x03]
        }
    };
}
