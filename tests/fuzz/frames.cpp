// Any stream of received bytes, in pieces of any size, on either end of a connection.
#include <numeric>

#include "target.h"
#include "wire/frame.h"

using namespace orvi_bus;

static uint8_t g_sum = 0;  // every byte that was handed over is read

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    orvi_fuzz::Input input(data, size);
    const uint8_t choice = input.Byte();
    FrameReader reader((choice & 1) != 0 ? FrameReader::Direction::kToTask : FrameReader::Direction::kToCaller);
    const size_t piece = size_t{1} << (choice >> 1 & 15);
    size_t received = 0;
    size_t handed = 0;
    bool isBad = false;
    while (input.Left() != 0 && !isBad) {
        uint8_t* at = nullptr;
        size_t room = 0;
        orvi_fuzz::Require(reader.Room(&at, &room) && room > 0, "there is room after kMore");
        const size_t count = std::min({room, piece, input.Left()});
        const auto bytes = input.Take(count);
        std::copy_n(bytes.bytes.get(), count, at);
        reader.Received(count);
        received += count;
        orvi_fuzz::Require(reader.Capacity() <= std::max<size_t>(FrameReader::kFirstCapacity, 2 * received),
                           "no more memory than twice what was received");
        FrameHeader header;
        const uint8_t* payload = nullptr;
        FrameReader::Result result = reader.Next(&header, &payload);
        for (; result == FrameReader::Result::kFrame; result = reader.Next(&header, &payload)) {
            handed += kHeaderSize + header.dataLen;
            g_sum = static_cast<uint8_t>(std::accumulate(payload, payload + header.dataLen, g_sum));
            const auto large = (choice & 32) != 0 ? reader.TakeLarge() : nullptr;
            if (large == nullptr) {
                reader.Consume();
            }
        }
        isBad = result == FrameReader::Result::kBad;
        orvi_fuzz::Require(!isBad || reader.Complaint() != nullptr, "what is bad has a reason");
        orvi_fuzz::Require(isBad || handed + reader.Held() == received, "every byte is handed over or held");
        reader.Trim();
    }
    return 0;
}
