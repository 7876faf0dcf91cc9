// Times as people write them.
#ifndef ORVI_PROTOCOL_DURATION_H
#define ORVI_PROTOCOL_DURATION_H

#include <chrono>
#include <optional>
#include <string>

namespace orvi_protocol {

using Milliseconds = std::chrono::duration<double, std::milli>;

// "1m30s", "2.5s", "500us": one number with its unit (h, m, s, ms, us) after another, the longer units first, a day at most.
std::optional<Milliseconds> ParseDuration(const std::string& text);

// The same to the millisecond; nothing for a time that is none when it has been rounded.
std::optional<std::chrono::milliseconds> ParseMilliseconds(const std::string& text);

}  // namespace orvi_protocol

#endif
