// A recorded session while it is played once more: what has happened of it, and what went another way.
#ifndef ORVI_BUS_TOOL_SCRIPT_H
#define ORVI_BUS_TOOL_SCRIPT_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "differences.h"
#include "recorded_session.h"

namespace orvi_bus_tool {

// Not for several threads at once.
class Script {
 public:
    Script(Session session, std::vector<std::string> allowed, Display display);

    const Session& Recorded() const { return session_; }
    const Step& At(size_t step) const { return session_.steps[step]; }
    size_t Size() const { return session_.steps.size(); }
    bool IsOpen(size_t step) const { return isOpen_[step]; }
    size_t FirstOpen() const { return firstOpen_; }  // Size() when all have happened
    bool IsOver() const { return firstOpen_ == Size(); }
    const std::string& Which(size_t step) const { return which_[step]; }  // "caption.line 3"

    // A message that was seen: the step that it is, compared with it. Nothing when it was not recorded, which is told.
    std::optional<size_t> Take(bool isToService, bool isRequest, uint32_t id, const Contents& seen);

    // The task at which the application of today receives, in the place of the recorded one; empty until it said that.
    const std::string& Task() const { return task_; }

    // A step's payload or reply as it is said today.
    Contents ContentsOf(size_t step);
    Contents ReplyOf(size_t step);

    void Done(size_t step);                                // the player's own
    void Miss(size_t step, const std::string& how);        // it did not happen; that is told
    void CompareReply(size_t step, const Contents& seen);  // of a request
    void MissAll(const std::string& how);                  // that are open
    // What it cannot be told any more. That is a difference only while it had more to say: whether an event meets an
    // application that leaves is a matter of microseconds, in what was recorded, too.
    void FindItGone(size_t event);

    Differences& Told() { return differences_; }
    std::string Summary() const;

 private:
    void Close(size_t step);

    const Session session_;
    Differences differences_;
    std::string task_;
    std::vector<std::string> which_;
    std::vector<bool> isOpen_;
    size_t firstOpen_ = 0;
    size_t openToService_ = 0;
    size_t untold_ = 0;
};

}  // namespace orvi_bus_tool

#endif
