// Any bytes as a payload or a reply of any message: shown, masked, and made again from what was shown.
#include "target.h"
#include "value.h"

using namespace orvi_protocol;

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    orvi_fuzz::Input input(data, size);
    const auto& all = AllMessages();
    const Message& message = *all[input.Byte() % all.size()];
    const bool isReply = (input.Byte() & 1) != 0;
    const auto bytes = input.Take(1U << 17);
    const Record* const record = isReply ? ReplyRecord(message, bytes.size) : message.payload;
    const Decoded decoded = Decode(record, bytes.bytes.get(), bytes.size);
    Style style;
    style.reveal = bytes.size % 2 == 0;
    (void)ToJson(decoded, style);
    (void)ToTable(decoded, style);
    orvi_fuzz::Require(ToLine(decoded, style, 100).find('\n') == std::string::npos, "a line is one line");
    std::string again;
    std::string error;
    if (record != nullptr && decoded.faults.empty() &&
        Encode(record, ToSettings(decoded.values), again, error, Check::Width)) {
        const Decoded second = Decode(record, again.data(), again.size());
        orvi_fuzz::Require(second.faults.empty(), "what was encoded has no faults");
        orvi_fuzz::Require(ToJson(second, style) == ToJson(decoded, style), "encoding keeps every value");
    }
    MaskPrivate(record, bytes.bytes.get(), bytes.size);
    const Decoded masked = Decode(record, bytes.bytes.get(), bytes.size);
    orvi_fuzz::Require(masked.faults == decoded.faults, "masking keeps lengths and counts");
    return 0;
}
