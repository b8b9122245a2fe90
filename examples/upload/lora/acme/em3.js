// EM3, port 5, 20 bytes, big-endian: import and export (uint32, Wh), active power (int32, W), power factor (int8,
// 0.01), relay (uint8), three voltages (uint16, 0.1 V).
function int32(bytes, at) {
    return (bytes[at] << 24) | (bytes[at + 1] << 16) | (bytes[at + 2] << 8) | bytes[at + 3];
}

function voltage(bytes, at) {
    return ((bytes[at] << 8) | bytes[at + 1]) / 10;
}

function decodeUplink(input) {
    var bytes = input.bytes;
    if (input.fPort !== 5 || bytes.length !== 20) {
        return { errors: ["EM3: expected 20 bytes on port 5"] };
    }
    return {
        data: {
            energyImport: int32(bytes, 0) >>> 0,
            energyExport: int32(bytes, 4) >>> 0,
            activePower: int32(bytes, 8) / 1000,
            powerFactor: ((bytes[12] << 24) >> 24) / 100,
            relayClosed: bytes[13] !== 0,
            voltageL1: voltage(bytes, 14),
            voltageL2: voltage(bytes, 16),
            voltageL3: voltage(bytes, 18)
        }
    };
}
