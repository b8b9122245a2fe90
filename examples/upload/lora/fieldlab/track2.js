// TRACK2, port 30, big-endian: state (bit 7 moving), battery (uint8, %); with a fix then latitude and longitude
// (int32, 1e-7 degrees) and altitude (int16, 0.5 m): 12 bytes, without a fix 2.
function int32(bytes, at) {
    return (bytes[at] << 24) | (bytes[at + 1] << 16) | (bytes[at + 2] << 8) | bytes[at + 3];
}

function decodeUplink(input) {
    var bytes = input.bytes;
    var hasFix = bytes.length === 12;
    if (input.fPort !== 30 || (!hasFix && bytes.length !== 2)) {
        return { errors: ["TRACK2: expected 12 or 2 bytes on port 30"] };
    }
    var data = {
        motion: (bytes[0] & 0x80) !== 0 ? "moving" : "still",
        battery: bytes[1]
    };
    if (hasFix) {
        data.latitude = int32(bytes, 2) / 1e7;
        data.longitude = int32(bytes, 6) / 1e7;
        data.altitude = (((bytes[10] << 24) >> 16) | bytes[11]) / 2;
    }
    return hasFix ? { data: data } : { data: data, warnings: ["TRACK2: no fix"] };
}
