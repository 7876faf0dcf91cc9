// The simulated service's place on the bus: its tasks, their receive loops, and the way of a message through it.
#ifndef ORVI_SIM_SERVICE_SERVICE_H
#define ORVI_SIM_SERVICE_SERVICE_H

#include <cstddef>
#include <optional>
#include <string>
#include <thread>
#include <unordered_map>
#include <vector>

#include "features/feature.h"
#include "message.h"
#include "service/bus_block.h"
#include "service/faults.h"
#include "service/request.h"
#include "service/stage.h"
#include "service/traffic.h"
#include "stop_signal.h"

namespace orvi_sim {

class RequestListener {
 public:
    virtual ~RequestListener() = default;
    virtual void OnAsked(const Request& request) = 0;
};

// One per process: the bus knows handlers without a context.
class Service {
 public:
    // All outlive the object. `stop` is raised with 1 when a receive loop cannot go on.
    Service(Stage& stage, StopSignal& stop, const std::vector<Feature*>& features);
    ~Service();
    Service(const Service&) = delete;
    Service& operator=(const Service&) = delete;

    // Joins the bus, makes every task reachable, then runs the receive loops; the service has been announced when it
    // returns. False, with the reason, when the bus refuses.
    bool Start(std::string& error);

    // Ends the receive loops, everything on the stage and every wait, and takes the tasks off the bus.
    void Stop();

    // Who hears of each message once, before its reply leaves; on the stage. Outlives the service's run. Before Start.
    void SetListener(RequestListener* listener) { listener_ = listener; }

    // --- For directions; on the stage, but for the traffic ---

    const RequestRow* FindRequest(uint32_t id) const;  // null when no feature has it
    void Seed(uint32_t seed);                          // of what happens by chance. Before Start
    Faults& RequestFaults() { return faults_; }
    size_t Release(uint32_t id);  // handles the messages that were held back and returns their number
    size_t ReleaseAll();
    bool HoldsBack(uint32_t id) const;
    Traffic& GetTraffic() { return traffic_; }

 private:
    struct Entry {
        const RequestRow* row;
        Feature* feature;
    };
    // A message as it came, with a payload of its own when it is handled later.
    struct Incoming {
        TagMsgBlock block;
        ApplicationId sender;
        Payload kept;
        Fault fault;
        uint64_t number;  // in the journal; 0: not noted yet

        Request AsRequest() const;
    };

    static bool AwaitAnnouncement();
    static int OnMessage(TagMsgBlock* message);
    void Take(const TagMsgBlock& message);
    void Forget(const TagMsgBlock& event);
    void Hold(const Incoming& incoming);
    void Serve(Incoming incoming);
    void ServeLater(const Incoming& incoming);  // what is thrown is told to its sender
    static void NotHandled(const TagMsgBlock& message, const std::exception& exception);
    void Handle(Incoming& incoming, const Entry* entry, const std::string& task);
    std::string FaultOfForm(const Request& request, const Entry* entry, const std::string& task) const;
    Answer Decide(const Request& request, const Entry* entry, const std::string& task, const Fault& fault);
    void LearnTask(const Request& request, const Entry* entry);
    void Note(Incoming& incoming, const std::string& ending, const Payload* reply);
    static std::string EndingOf(const Request& request, const Answer& answer);
    static void LogRefusal(const Incoming& incoming, const Entry* entry, const std::string& reason);
    static std::optional<Payload> ReplyOf(const Incoming& incoming, const Entry* entry, const Answer& answer);
    static void Reply(const TagMsgBlock& block, std::optional<Payload> reply);
    void TellVerdict(const RequestRow& row, const Request& request, const Fault& fault, const Answer& answer);
    void RunLoop(const char* task);

    Stage& stage_;
    StopSignal& stop_;
    RequestListener* listener_ = nullptr;
    std::unordered_map<uint32_t, Entry> entries_;  // constant after construction
    Traffic traffic_;                              // has its own lock
    Faults faults_;                                // on the stage
    std::vector<Incoming> held_;                   // on the stage

    std::vector<std::thread> loops_;
    std::vector<const char*> registered_;  // tasks to take off the bus
};

}  // namespace orvi_sim

#endif
