// Receives the library's main callback with the payloads of the simulated service's records, which begin with their
// length: the events of the large model and of the voice assistant.
#ifndef ORVI_TEST_PAYLOAD_RECORDER_H
#define ORVI_TEST_PAYLOAD_RECORDER_H

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <gtest/gtest.h>
#include <vector>

#include "vision_test.h"

namespace orvi_test {

struct EventRecord {
    int event;
    Bytes payload;  // of event 2 its two integers, of other events the whole record

    // The record; fails the test when it is longer. What a shorter one leaves out is zero.
    template <class Record>
    Record As() const {
        Record record = {};
        EXPECT_LE(payload.size(), sizeof(record)) << "event " << event;
        std::memcpy(&record, payload.data(), std::min(payload.size(), sizeof(record)));
        return record;
    }
};

class PayloadTest : public VisionTest {
 protected:
    // As VisionTest::Connect, but with the recorder of this file.
    void ConnectForPayloads();

    // The next event not taken yet. Fails the test and returns event -1 when none comes.
    static EventRecord NextRecord();
    // Events not taken yet.
    static size_t PendingRecords();
};

}  // namespace orvi_test

#endif
