function decodeUplink(input) {
    return { data: { temperature: ((input.bytes[0] << 24) >> 16 | input.bytes[1]) / 10 } };
}
