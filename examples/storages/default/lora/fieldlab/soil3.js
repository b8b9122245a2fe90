// SOIL3, port 8, 12 bytes, big-endian uint16: moisture at 10, 30 and 60 cm (0.1 %), temperature (int16, 0.01 °C),
// conductivity (µS/cm), battery (mV).
function uint16(bytes, at) {
    return (bytes[at] << 8) | bytes[at + 1];
}

function decodeUplink(input) {
    var bytes = input.bytes;
    if (input.fPort !== 8 || bytes.length !== 12) {
        return { errors: ["SOIL3: expected 12 bytes on port 8"] };
    }
    return {
        data: {
            moisture10: uint16(bytes, 0) / 10,
            moisture30: uint16(bytes, 2) / 10,
            moisture60: uint16(bytes, 4) / 10,
            temperature: ((uint16(bytes, 6) << 16) >> 16) / 100,
            conductivity: uint16(bytes, 8),
            battery: uint16(bytes, 10)
        }
    };
}
