// DOOR1, port 20, 5 bytes: flags (bit 0 open, bit 1 tamper), openings (uint24, little-endian), battery (uint8, %).
function decodeUplink(input) {
    var bytes = input.bytes;
    if (input.fPort !== 20 || bytes.length !== 5) {
        return { errors: ["DOOR1: expected 5 bytes on port 20"] };
    }
    return {
        data: {
            open: (bytes[0] & 0x01) !== 0,
            tamper: (bytes[0] & 0x02) !== 0,
            openings: bytes[1] | (bytes[2] << 8) | (bytes[3] << 16),
            battery: bytes[4]
        }
    };
}
