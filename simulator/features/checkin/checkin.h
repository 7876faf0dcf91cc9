// Check-in of a meeting's participants, who come one after the other while it runs. It is prepared, started and reported
// by applications, and each of these ends with the last application that asked for it. What is reported, everybody hears.
#ifndef ORVI_SIM_FEATURES_CHECKIN_H
#define ORVI_SIM_FEATURES_CHECKIN_H

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "features/checkin/attendance.h"
#include "features/feature.h"
#include "features/tenants.h"
#include "service/stage.h"

namespace orvi_sim {

class Checkin : public Feature {
 public:
    explicit Checkin(Stage& stage) : stage_(stage) {}

    // How many participants check in, at most Attendance::MOST_PARTICIPANTS, and how far apart; 0: only on command.
    // Before the service starts.
    void SetParticipants(size_t count, std::chrono::milliseconds pace);

    RequestTable Requests() const override;
    std::vector<Direction> Directions() override;
    void OnGone(const ApplicationId& application) override;
    std::string Describe() const override;
    const Attendance& GetAttendance() const { return attendance_; }

 private:
    void Init(const Request& request, Answer& answer);
    void Start(const Request& request, Answer& answer);
    void StartReport(const Request& request, Answer& answer);
    void StopReport(const Request& request, Answer& answer);
    void Stop(const Request& request, Answer& answer);
    void Clear(const Request& request, Answer& answer);
    void Deinit(const Request& request, Answer& answer);
    void QueryPage(const Request& request, Answer& answer);
    void QueryPhoto(const Request& request, Answer& answer);

    Outcome LetArrive(size_t count);
    Outcome Enter(const Arguments& arguments);
    Outcome Leave(const std::string& name);
    void LetIn();
    bool ArriveOne();
    void TellCount();
    void PlanArrival();
    void EndReport();
    void End();

    Stage& stage_;
    Attendance attendance_;
    std::chrono::milliseconds pace_{0};  // constant once the service runs
    Tenants preparers_;
    Tenants starters_;
    Tenants reporters_;
    uint64_t plan_ = 0;  // counts the plans: an arrival of an earlier one does not happen
};

}  // namespace orvi_sim

#endif
