// TH1, port 10, 5 bytes: temperature (int16, 0.1 °C), humidity (uint8, 0.5 %), battery (uint16, mV); big-endian.
function decodeUplink(input) {
    var bytes = input.bytes;
    if (input.fPort !== 10 || bytes.length !== 5) {
        return { errors: ["TH1: expected 5 bytes on port 10"] };
    }
    return {
        data: {
            temperature: (((bytes[0] << 24) >> 16) | bytes[1]) / 10,
            humidity: bytes[2] / 2,
            battery: (bytes[3] << 8) | bytes[4]
        }
    };
}
