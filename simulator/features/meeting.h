// What the meeting features offer to the program's options and to the control channel. Any thread.
#ifndef ORVI_SIM_FEATURES_MEETING_H
#define ORVI_SIM_FEATURES_MEETING_H

#include <chrono>
#include <cstddef>
#include <string>

namespace orvi_sim {

class Service;

// How many participants check in, at most Attendance::MOST_PARTICIPANTS, and how far apart; 0: only on command. Before
// the service starts.
void SetParticipants(size_t count, std::chrono::milliseconds pace);

// Lets participants check in now, as long as the check-in runs. Returns how many came.
size_t LetArrive(Service& service, size_t count);

// NAME=VALUE each, for people and tests.
std::string DescribeNameplate();
std::string DescribeDirector();
std::string DescribeCheckin();
std::string DescribeMinutes();

}  // namespace orvi_sim

#endif
