// One run of orvi-ai: its place on the bus, what it has created, and how it carries out commands.
#ifndef ORVI_AI_TOOL_SESSION_H
#define ORVI_AI_TOOL_SESSION_H

#include <map>
#include <string>

#include "command.h"
#include "event_stream.h"
#include "orvi_ai_srv.h"

namespace orvi_ai {

enum ExitCode : int { DONE = 0, FAILED = 1, USAGE = 2, NOBODY_THERE = 3 };

class Session {
 public:
    Session(Output& output, std::string app) : output_(output), app_(std::move(app)) {}

    // Destroys the detectors that are left and leaves the service. Once it has said what went wrong nobody waits for it.
    void Leave();

    ExitCode Run(const Call& call);

    // Commands come from a file: they are carried out as they stand, nothing is prepared for them, events are printed as
    // they come.
    void BecomeScript();
    bool IsScript() const { return isScript_; }

    Output& Out() { return output_; }
    tagOrviAppInfo App() const;

    // --- For the commands ---

    // Initialises the library once. False when nobody is there.
    bool Connect();
    bool Announce();  // again, to a service that has restarted
    int Disconnect();
    bool IsConnected() const { return isConnected_; }

    // Detectors by name; the empty name is the one created last.
    void Keep(const std::string& name, void* detector);
    void* Find(const std::string& name) const;
    void Forget(const std::string& name);
    void DestroyDetectors();

 private:
    ExitCode Tell(const Call& call, const Outcome& outcome, Clock::time_point begin);
    ExitCode GoOn(const Call& call);

    Output& output_;
    std::string app_;
    bool isScript_ = false;
    bool isConnected_ = false;
    std::map<std::string, void*> detectors_;
    std::string lastDetector_;
    uint32_t unnamed_ = 0;
};

}  // namespace orvi_ai

#endif
