// The check-in of one conference: who is invited, who has come. Any thread.
#ifndef ORVI_SIM_ATTENDANCE_H
#define ORVI_SIM_ATTENDANCE_H

#include <cstddef>
#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "orvi_vision_sim_payloads.h"
#include "payload.h"

namespace orvi_sim {

struct ConferenceId {
    std::string uuid;
    std::string id;
};

class Attendance {
 public:
    static constexpr size_t MOST_PARTICIPANTS = size_t{56} * ORVI_SIM_CHECKIN_ENTRIES_PER_PAGE;  // pages are limited

    // Who will come, in the order of coming; every sixth is not invited.
    void SetParticipants(size_t count);

    // Each of these returns a verdict, an OrviSimVerdict. Data of another conference is forgotten by Start.
    uint8_t Init();
    uint8_t Start(const ConferenceId& conference);
    uint8_t StartReport(int32_t type, const ConferenceId& conference);

    // Nothing of these is refused. StopReport tells whether there was a report to end.
    bool StopReport();
    void Stop();
    void Clear();
    void Deinit();

    struct Arrival {
        OrviSimCheckinArrival record;
        bool reported;  // a report is running
        bool complete;  // this was the last one of those invited
    };
    // The next participant comes. Nothing when the check-in does not run or everybody has come.
    std::optional<Arrival> Arrive();

    // Counts the starts and the stops: an arrival that was planned before the last one is void.
    uint64_t Generation() const;

    uint32_t Present() const;

    Payload Page(uint32_t view, uint32_t pageNum) const;
    Payload Photo(const std::string& userId) const;  // empty when nobody of this id has come

    std::string Describe() const;  // one word or more for people

 private:
    struct Participant {
        std::string userId;
        std::string account;
        std::string name;
        bool invited;
        Payload photo;  // taken at the arrival
        uint32_t arrival = 0;
        uint32_t checkinTime = 0;
    };

    void ForgetArrivals();
    std::vector<const Participant*> Select(uint32_t view) const;
    static OrviSimCheckinEntry Entry(const Participant& participant);
    static bool CountsAsPresent(const Participant& participant) { return participant.arrival != 0; }

    mutable std::mutex mutex_;  // guards what follows
    std::vector<Participant> participants_;
    ConferenceId conference_;
    bool ready_ = false;
    bool running_ = false;
    bool reporting_ = false;
    int32_t type_ = 0;
    uint32_t present_ = 0;
    uint64_t generation_ = 0;
};

}  // namespace orvi_sim

#endif
