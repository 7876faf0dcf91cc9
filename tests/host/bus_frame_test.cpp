// The codec of the bus: what a peer may send, in any pieces, and what it may not.
#include <algorithm>
#include <cstring>
#include <functional>
#include <gtest/gtest.h>
#include <string>
#include <string_view>
#include <vector>

#include "frames.h"

namespace orvi_bus {
namespace {

void Put32(Bytes* bytes, size_t at, uint32_t value) {
    for (size_t i = 0; i < 4; ++i) {
        (*bytes)[at + i] = static_cast<uint8_t>(value >> (8 * i));
    }
}

// Feeds bytes as a socket would and notes every frame that comes out, or the complaint.
class Sink {
 public:
    explicit Sink(FrameReader::Direction direction = FrameReader::Direction::kToTask) : reader(direction) {}

    void Feed(const uint8_t* bytes, size_t size) {
        while (size != 0) {
            uint8_t* at = nullptr;
            size_t room = 0;
            ASSERT_TRUE(reader.Room(&at, &room));
            ASSERT_GT(room, 0U);
            const size_t part = std::min(room, size);
            memcpy(at, bytes, part);
            reader.Received(part);
            received_ += part;
            EXPECT_LE(reader.Capacity(), std::max<size_t>(4096, 2 * received_));
            bytes += part;
            size -= part;
            Take();
        }
    }

    FrameReader reader;
    std::vector<std::string> frames;

 private:
    void Take() {
        FrameHeader header;
        const uint8_t* payload = nullptr;
        FrameReader::Result result = reader.Next(&header, &payload);
        for (; result == FrameReader::Result::kFrame; result = reader.Next(&header, &payload)) {
            const std::string_view text(reinterpret_cast<const char*>(payload), header.dataLen);
            frames.push_back(std::to_string(static_cast<int>(header.kind)) + " " + std::to_string(header.flags) + " " +
                             std::to_string(header.msgId) + " " + std::to_string(header.sequence) + " " +
                             std::to_string(header.dataLen) + " " +
                             std::to_string(std::hash<std::string_view>{}(text)));
            reader.Consume();
        }
        if (result == FrameReader::Result::kBad) {
            frames.emplace_back("bad");
        }
    }
    size_t received_ = 0;
};

// Every kind of frame that goes in a direction, with sizes on both sides of the reader's first buffer.
Bytes Traffic(FrameReader::Direction direction) {
    Bytes all;
    const auto add = [&all](const Bytes& frame) { all.insert(all.end(), frame.begin(), frame.end()); };
    if (direction == FrameReader::Direction::kToTask) {
        add(Greeting("client", 9));
        add(Frame(FrameKind::kOneWay, 0, 0x60000F, Bytes(36, 7)));
        add(Frame(FrameKind::kRequest, 1, 2, Bytes(4096 - kHeaderSize, 8)));
        add(Frame(FrameKind::kRequest, 6, 5, Bytes(4300, 9), kFlagStarted));
    } else {
        add(Frame(FrameKind::kReply, UINT32_MAX, 3, {}, kFlagNoData));
        add(Frame(FrameKind::kReply, 5, 4, Bytes(4096 - kHeaderSize, 8)));
        add(Frame(FrameKind::kReply, 6, 4, Bytes(4300, 9)));
        add(Frame(FrameKind::kReply, 7, 4, {}));
    }
    return all;
}

TEST(BusFrame, AnyTwoPiecesGiveTheSameFrames) {
    for (const auto direction : {FrameReader::Direction::kToTask, FrameReader::Direction::kToCaller}) {
        const Bytes all = Traffic(direction);
        Sink whole(direction);
        whole.Feed(all.data(), all.size());
        ASSERT_EQ(whole.frames.size(), 4U);
        EXPECT_FALSE(whole.reader.InsideFrame());
        for (size_t cut = 1; cut < all.size(); ++cut) {
            Sink sink(direction);
            sink.Feed(all.data(), cut);
            EXPECT_LT(sink.frames.size(), 4U);
            sink.Feed(all.data() + cut, all.size() - cut);
            ASSERT_EQ(sink.frames, whole.frames) << "cut at " << cut;
        }
        Sink trickle(direction);
        for (const uint8_t& byte : all) {
            trickle.Feed(&byte, 1);
        }
        EXPECT_EQ(trickle.frames, whole.frames);
    }
}

TEST(BusFrame, HeadersThatLieAreRefusedBeforeAnythingIsAllocated) {
    const Bytes hello = Greeting("client", 9);
    const Bytes oneWay = Frame(FrameKind::kOneWay, 0, 1, Bytes(36, 1));
    const Bytes request = Frame(FrameKind::kRequest, 1, 1, Bytes(36, 1));
    const Bytes empty = Frame(FrameKind::kReply, 1, 1, {}, kFlagNoData);
    struct {
        const char* what;
        const Bytes* frame;
        size_t at;  // the 32-bit word that lies, and what it says
        uint32_t value;
    } const lies[] = {
        {"length 0", &oneWay, 16, 0},
        {"header less one", &oneWay, 16, kHeaderSize - 1},
        {"16 MiB and one", &oneWay, 16, kHeaderSize + kMaxDataLen + 1},
        {"2^31", &oneWay, 16, 1U << 31},
        {"2^32 - 1", &oneWay, 16, UINT32_MAX},
        {"another magic", &oneWay, 0, 0x00014242},
        {"another version", &oneWay, 0, 0x0002424F},
        {"kind 0", &oneWay, 4, 0},
        {"kind 5", &oneWay, 4, 5},
        {"unknown flag", &oneWay, 4, 0x00040002},
        {"reserved word", &oneWay, 20, 1},
        {"one-way with a sequence", &oneWay, 12, 1},
        {"one-way without data", &oneWay, 4, 0x00010002},
        {"request without a sequence", &request, 12, 0},
        {"request without data", &request, 4, 0x00010003},
        {"reply without a sequence", &empty, 12, 0},
        {"reply without data, of length 1", &empty, 16, kHeaderSize + 1},
        {"hello one short", &hello, 16, kHeaderSize + kHelloSize - 1},
        {"hello one long", &hello, 16, kHeaderSize + kHelloSize + 1},
        {"hello with an id", &hello, 8, 1},
        {"hello with a sequence", &hello, 12, 1},
        {"hello without data", &hello, 4, 0x00010001},
    };
    for (const auto& lie : lies) {
        Bytes bytes = *lie.frame;
        Put32(&bytes, lie.at, lie.value);
        Sink sink(lie.frame == &empty ? FrameReader::Direction::kToCaller : FrameReader::Direction::kToTask);
        const bool isFirst = lie.frame == &empty || lie.frame == &hello;
        if (!isFirst) {
            sink.Feed(hello.data(), hello.size());
        }
        sink.Feed(bytes.data(), kHeaderSize);
        ASSERT_EQ(sink.frames.size(), isFirst ? 1U : 2U) << lie.what;
        EXPECT_EQ(sink.frames.back(), "bad") << lie.what;
        EXPECT_NE(sink.reader.Complaint(), nullptr) << lie.what;
        EXPECT_TRUE(sink.reader.HasFrame()) << lie.what << ": its bytes wait for more";
        EXPECT_LE(sink.reader.Capacity(), 4096U) << lie.what;
    }
}

TEST(BusFrame, AFrameInTheWrongPlaceIsRefusedAtItsHeader) {
    const Bytes hello = Greeting("client", 9);
    const Bytes request = Frame(FrameKind::kRequest, 1, 1, Bytes(36, 1));
    const Bytes reply = Frame(FrameKind::kReply, 1, 1, Bytes(36, 1));
    const struct {
        FrameReader::Direction direction;
        bool greeted;
        const Bytes* frame;
        const char* complaint;
    } places[] = {
        {FrameReader::Direction::kToTask, false, &request, "a first frame that is no hello"},
        {FrameReader::Direction::kToTask, true, &hello, "a frame that does not belong there"},
        {FrameReader::Direction::kToTask, true, &reply, "a frame that does not belong there"},
        {FrameReader::Direction::kToCaller, false, &request, "a frame that is no reply"},
    };
    for (const auto& place : places) {
        Sink sink(place.direction);
        sink.Feed(hello.data(), place.greeted ? hello.size() : 0);
        sink.Feed(place.frame->data(), kHeaderSize);
        ASSERT_FALSE(sink.frames.empty());
        EXPECT_EQ(sink.frames.back(), "bad");
        EXPECT_STREQ(sink.reader.Complaint(), place.complaint);
    }
}

// The buffer leaves the reader only with one large frame in it: no byte of another goes with it, whatever pieces the bytes
// come in.
TEST(BusFrame, OnlyALargeFrameByItselfIsTakenWithItsBuffer) {
    constexpr size_t kFront = 40;
    const Bytes small = Frame(FrameKind::kReply, 1, 1, Bytes(36, 1));
    const Bytes large = Frame(FrameKind::kReply, 2, 1, Bytes(20880, 2));
    const Bytes larger = Frame(FrameKind::kReply, 2, 1, Bytes(80000, 3));
    const struct {
        std::vector<Bytes> frames;
        size_t taken;
    } cases[] = {{{small, small}, 0},
                 {{large}, 1},
                 {{small, large, small}, 1},
                 {{large, large, large, small}, 3},
                 {{larger, large}, 2}};
    for (const auto& each : cases) {
        Bytes all;
        for (const Bytes& frame : each.frames) {
            all.insert(all.end(), frame.begin(), frame.end());
        }
        for (const size_t piece : {size_t{7}, size_t{5000}, all.size()}) {
            FrameReader reader(FrameReader::Direction::kToCaller, kFront);
            FrameHeader header;
            const uint8_t* payload = nullptr;
            size_t taken = 0;
            size_t fed = 0;
            for (const Bytes& frame : each.frames) {
                while (reader.Next(&header, &payload) == FrameReader::Result::kMore) {
                    uint8_t* at = nullptr;
                    size_t room = 0;
                    ASSERT_TRUE(reader.Room(&at, &room));
                    room = std::min({room, piece, all.size() - fed});
                    memcpy(at, &all[fed], room);
                    reader.Received(room);
                    fed += room;
                }
                ASSERT_EQ(Bytes(payload, payload + header.dataLen), Bytes(frame.begin() + kHeaderSize, frame.end()));
                if (const auto buffer = reader.TakeLarge()) {
                    ++taken;
                    EXPECT_EQ(Bytes(buffer.get() + kFront, buffer.get() + kFront + frame.size()), frame);
                } else {
                    reader.Consume();
                    reader.Trim();
                }
            }
            EXPECT_FALSE(reader.InsideFrame());
            // Of the frames that come at once the first may be read together with the next.
            EXPECT_GE(taken + (piece == all.size() ? 1 : 0), each.taken) << each.frames.size() << " by " << piece;
            EXPECT_LE(taken, each.taken);
        }
    }
}

TEST(BusFrame, TheLargestFramePassesAndItsBufferIsGivenBack) {
    const Bytes large = Frame(FrameKind::kReply, 1, 1, Bytes(kMaxDataLen, 5));
    Sink sink(FrameReader::Direction::kToCaller);
    sink.Feed(large.data(), large.size());
    ASSERT_EQ(sink.frames.size(), 1U);
    EXPECT_EQ(sink.reader.Capacity(), large.size());
    sink.reader.Trim();
    EXPECT_EQ(sink.reader.Capacity(), 0U);
    const Bytes small = Frame(FrameKind::kReply, 2, 1, {});
    sink.Feed(small.data(), small.size());
    EXPECT_EQ(sink.frames.size(), 2U);
}

TEST(BusFrame, NamesOfAHelloAreBounded) {
    Hello hello;
    for (const char* name : {"", "0123456789abcdef"}) {
        Bytes payload(kHelloSize);
        memcpy(payload.data(), name, strlen(name));
        EXPECT_FALSE(DecodeHello(payload.data(), &hello)) << name;
    }
    const Bytes greeting = Greeting("0123456789abcde", 9);
    ASSERT_TRUE(DecodeHello(greeting.data() + kHeaderSize, &hello));
    EXPECT_STREQ(hello.procName, "0123456789abcde");
    EXPECT_EQ(hello.incarnation, 0x0102030405060708U);
    EXPECT_EQ(hello.stream, 9U);
}

TEST(BusFrame, SequenceNumbersLeaveOutZeroWhenTheyWrap) {
    EXPECT_EQ(NextSequence(0), 1U);
    EXPECT_EQ(NextSequence(UINT32_MAX - 1), UINT32_MAX);
    EXPECT_EQ(NextSequence(UINT32_MAX), 1U);
}

}  // namespace
}  // namespace orvi_bus
