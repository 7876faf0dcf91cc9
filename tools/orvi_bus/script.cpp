#include "script.h"

#include <map>
#include <set>
#include <utility>

namespace orvi_bus_tool {

Script::Script(Session session, std::vector<std::string> allowed, Display display)
    : session_(std::move(session)), differences_(std::move(allowed), display), isOpen_(session_.steps.size(), true) {
    std::map<std::string, size_t> counts;
    for (const Step& step : session_.steps) {
        which_.push_back(step.name + " " + std::to_string(++counts[step.name]));
        openToService_ += step.isToService ? 1 : 0;
    }
}

// Messages of one thread come in their order; of those that may be next the one that is the same is taken.
std::optional<size_t> Script::Take(bool isToService, bool isRequest, uint32_t id, const Contents& seen) {
    std::set<uint64_t> streams;
    std::optional<size_t> found;
    for (size_t i = firstOpen_; i < Size(); ++i) {
        const Step& step = At(i);
        if (!isOpen_[i] || step.isToService != isToService || step.isRequest != isRequest || step.id != id ||
            !streams.insert(step.stream).second) {
            continue;
        }
        if (step.contents == seen) {
            found = i;
            break;
        }
        found = found ? found : i;
    }
    if (!found) {
        const orvi_protocol::Message* const message = orvi_protocol::FindMessage(id, isToService);
        differences_.Add(message != nullptr ? std::string(message->name) : "message " + std::to_string(id),
                         "came once more than it was recorded");
        return found;
    }
    const Step& step = At(*found);
    const orvi_protocol::Record* const layout = step.message != nullptr ? step.message->payload : nullptr;
    if (task_.empty() && isToService) {
        task_ = StandsFor(session_.task, layout, step.contents, seen);
        differences_.MayStandFor(session_.task, task_);
    }
    differences_.Compare(which_[*found], layout, step.contents, seen);
    Close(*found);
    return found;
}

void Script::Close(size_t step) {
    isOpen_[step] = false;
    openToService_ -= At(step).isToService ? 1 : 0;
    while (firstOpen_ < Size() && !isOpen_[firstOpen_]) {
        ++firstOpen_;
    }
}

Contents Script::ContentsOf(size_t step) {
    return differences_.Today(At(step).message != nullptr ? At(step).message->payload : nullptr, At(step).contents);
}

Contents Script::ReplyOf(size_t step) {
    return differences_.Today(LayoutOfReply(At(step), At(step).reply), At(step).reply);
}

void Script::Done(size_t step) {
    Close(step);
}

void Script::Miss(size_t step, const std::string& how) {
    differences_.Add(which_[step], how);
    Close(step);
}

void Script::CompareReply(size_t step, const Contents& seen) {
    differences_.Compare("the reply to " + which_[step], LayoutOfReply(At(step), At(step).reply), At(step).reply, seen);
}

void Script::FindItGone(size_t event) {
    if (openToService_ != 0) {
        Miss(event, "nobody takes it");
        return;
    }
    ++untold_;
    Close(event);
}

void Script::MissAll(const std::string& how) {
    for (size_t i = firstOpen_; i < Size(); ++i) {
        if (isOpen_[i]) {
            Miss(i, how);
        }
    }
}

std::string Script::Summary() const {
    size_t requests = 0;
    size_t messages = 0;
    size_t events = 0;
    for (const Step& step : session_.steps) {
        ++(!step.isToService ? events : step.isRequest ? requests : messages);
    }
    const size_t count = differences_.Count();
    return std::to_string(requests) + " requests, " + std::to_string(messages) + " messages, " +
           std::to_string(events) + " events of " + session_.application +
           (untold_ == 0 ? "" : ", " + std::to_string(untold_) + " of them when it had left") + ": " +
           (count == 0 ? "no difference" : std::to_string(count) + (count == 1 ? " difference" : " differences"));
}

}  // namespace orvi_bus_tool
