#include "duration.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <iterator>

namespace orvi_protocol {

std::optional<Milliseconds> ParseDuration(const std::string& text) {
    constexpr size_t LONGEST = 40;
    constexpr double MOST = 24.0 * 3600 * 1000;
    constexpr struct {
        const char* unit;
        double factor;
    } UNITS[] = {{"h", 3600000}, {"m", 60000}, {"s", 1000}, {"ms", 1}, {"us", 0.001}};
    if (text.empty() || text.size() > LONGEST) {
        return std::nullopt;
    }
    double milliseconds = 0;
    size_t next = 0;  // unit that may follow
    for (size_t at = 0; at < text.size();) {
        // No sign, blank, exponent or hexadecimal digit, which strtod() takes too.
        const size_t behind = std::min(text.find_first_not_of("0123456789.", at), text.size());
        const size_t end = std::min(text.find_first_of("0123456789", behind), text.size());
        const std::string number = text.substr(at, behind - at);
        const std::string unit = text.substr(behind, end - behind);
        while (next < std::size(UNITS) && unit != UNITS[next].unit) {
            ++next;
        }
        const size_t point = number.find('.');
        const bool isNumber =
            !number.empty() && number.front() != '.' && number.back() != '.' && point == number.rfind('.');
        if (!isNumber || next == std::size(UNITS)) {
            return std::nullopt;
        }
        milliseconds += std::strtod(number.c_str(), nullptr) * UNITS[next++].factor;
        at = end;
    }
    return milliseconds <= MOST ? std::optional(Milliseconds(milliseconds)) : std::nullopt;
}

std::optional<std::chrono::milliseconds> ParseMilliseconds(const std::string& text) {
    const auto exact = ParseDuration(text);
    if (!exact) {
        return std::nullopt;
    }
    const std::chrono::milliseconds rounded(std::lround(exact->count()));
    return rounded.count() == 0 && exact->count() > 0 ? std::nullopt : std::optional(rounded);
}

}  // namespace orvi_protocol
