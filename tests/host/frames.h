// Frames of the bus as bytes, for tests that talk to it without its library.
#ifndef ORVI_TESTS_HOST_FRAMES_H
#define ORVI_TESTS_HOST_FRAMES_H

#include <cstring>
#include <vector>

#include "wire/frame.h"

using Bytes = std::vector<uint8_t>;

inline Bytes Frame(orvi_bus::FrameKind kind, uint32_t sequence, uint32_t msgId, const Bytes& payload,
                   uint16_t flags = 0) {
    orvi_bus::FrameHeader header;
    header.kind = kind;
    header.flags = flags;
    header.msgId = msgId;
    header.sequence = sequence;
    header.dataLen = static_cast<uint32_t>(payload.size());
    Bytes bytes(orvi_bus::kHeaderSize);
    EncodeHeader(header, bytes.data());
    bytes.insert(bytes.end(), payload.begin(), payload.end());
    return bytes;
}

inline Bytes Greeting(const char* name, uint64_t stream, uint64_t incarnation = 0x0102030405060708) {
    orvi_bus::Hello hello;
    strncpy(hello.procName, name, sizeof(hello.procName) - 1);
    hello.incarnation = incarnation;
    hello.stream = stream;
    Bytes payload(orvi_bus::kHelloSize);
    EncodeHello(hello, payload.data());
    return Frame(orvi_bus::FrameKind::kHello, 0, 0, payload);
}

// What tests/host/bus_peer.cpp takes for an undamaged payload.
inline Bytes Payload(uint32_t length) {
    Bytes payload(length);
    for (uint32_t i = 0; i < length; ++i) {
        payload[i] = static_cast<uint8_t>((i * 31 + length) & 0xFF);
    }
    return payload;
}

inline Bytes operator+(Bytes left, const Bytes& right) {
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

#endif
