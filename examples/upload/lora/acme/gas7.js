// GAS7, port 7, 2 bytes: concentration (uint8, 0.5 % of the lower explosive limit), alarm (uint8, 0 to 2).
function decodeUplink(input) {
    var bytes = input.bytes;
    var alarm = ["none", "warning", "alarm"][bytes[1]];
    if (input.fPort !== 7 || bytes.length !== 2 || alarm === undefined) {
        return { errors: ["GAS7: expected 2 bytes on port 7, the second from 0 to 2"] };
    }
    return { data: { concentration: bytes[0] / 2, alarm: alarm } };
}
