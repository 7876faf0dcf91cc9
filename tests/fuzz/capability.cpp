// Any file as the record of the device's abilities.
#include "../../host/ai_common/capability.cpp"

#include "target.h"

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const orvi_fuzz::File file(data, size);
    (void)setenv("ORVI_AI_CAPABILITY", file.Path().c_str(), 1);
    if (const auto record = Load()) {
        for (size_t i = 0; i < kRecordSize; i += 4) {
            const bool isFlag =
                std::any_of(std::begin(kFlags), std::end(kFlags), [i](const Flag& flag) { return flag.offset == i; });
            int32_t value = 0;
            std::memcpy(&value, record->bytes + i, sizeof(value));
            orvi_fuzz::Require(isFlag || value == 0, "only flags are set");
        }
    }
    return 0;
}
