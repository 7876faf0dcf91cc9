// The check-in of one conference: who is invited, who has come.
#ifndef ORVI_SIM_FEATURES_ATTENDANCE_H
#define ORVI_SIM_FEATURES_ATTENDANCE_H

#include <cstddef>
#include <cstdint>
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

    // An OrviSimVerdict. Data of another conference is forgotten.
    uint8_t Start(const ConferenceId& conference);
    void Stop();
    bool IsRunning() const { return running_; }
    bool IsOf(const ConferenceId& conference) const;

    void SetType(int32_t type) { type_ = type; }
    void Clear();

    // The next participant comes, at a time of day. Nothing when the check-in does not run or everybody has come.
    std::optional<OrviSimCheckinArrival> Arrive(uint32_t time);

    // Somebody comes by name; a stranger joins the list. One who comes while the check-in does not run is the next to
    // arrive when it does. `isInvited` and an empty photo: as before, of a stranger a guest and a drawn one. The reason
    // when that cannot be.
    std::optional<std::string> Enter(const std::string& name, std::optional<bool> isInvited, const Payload& photo);
    std::optional<std::string> Leave(const std::string& name);
    bool SomebodyWaits() const;     // has entered, and has not arrived
    std::string Everybody() const;  // a line each

    struct Person {
        std::string userId;
        std::string name;
        bool isInvited;
        bool isPresent;
        uint32_t checkinTime;  // of one who is present, in seconds since 1970
    };
    std::vector<Person> People() const;

    uint32_t Present() const { return present_; }
    bool IsComplete() const;  // everybody who is invited has come, and somebody is

    Payload Page(uint32_t view, uint32_t pageNum) const;
    Payload Photo(const std::string& userId) const;  // empty when nobody of this id has come

 private:
    struct Participant {
        std::string userId;
        std::string account;
        std::string name;
        bool invited;
        Payload ownPhoto;  // brought along; empty: one is drawn
        bool waits = false;
        Payload photo;  // taken at the arrival
        uint32_t arrival = 0;
        uint32_t checkinTime = 0;
    };

    void ForgetArrivals();
    std::vector<const Participant*> Select(uint32_t view) const;
    static OrviSimCheckinEntry Entry(const Participant& participant);
    static bool CountsAsPresent(const Participant& participant) { return participant.arrival != 0; }

    std::vector<Participant> participants_;
    ConferenceId conference_;
    bool running_ = false;
    int32_t type_ = 0;
    uint32_t arrivals_ = 0;  // those who have left again included
    uint32_t present_ = 0;
};

}  // namespace orvi_sim

#endif
