#ifndef ORVI_TESTS_QUIET_PLATFORM_H
#define ORVI_TESTS_QUIET_PLATFORM_H

#include <cstdint>
#include <vector>

extern std::vector<uint8_t> gQuietReply;
extern std::vector<uint8_t> gQuietCapabilities;
extern int gQuietSends;      // requests that reached the bus
extern int gQuietMonitored;  // monitored allocations

#endif
