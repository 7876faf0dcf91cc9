// What the page tells of: the latest happenings of each kind, as they were, made into JSON only for who looks.
#ifndef ORVI_SIM_VIEW_HISTORY_H
#define ORVI_SIM_VIEW_HISTORY_H

#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "service/onlooker.h"

namespace orvi_sim {

struct Happening {
    enum class Kind : uint8_t { Directed, Asked, Told };

    uint64_t number;  // the first is 1
    Kind kind;
    bool hasFault;
    uint32_t id;  // of the message
    std::chrono::milliseconds at;
    std::string application;  // its name on the bus
    std::string text;         // the line of a direction; the ending of the others
    SharedPayload payload;    // its first LONGEST_KEPT bytes; null for none
    size_t length;            // of all of it
    SharedPayload reply;      // likewise; null for none
    size_t replyLength;
};

// {"n":12,"at":1234,"kind":"asked","name":"caption.start","app":"ai_vpp7","fields":{...},"ending":"answered","reply":{...}}
std::string ToJson(const Happening& happening);

// Any thread; nothing waits.
class History : public Onlooker {
 public:
    // The latest of each message are kept: pictures of faces, many a second, leave the captions where they are.
    static constexpr size_t MOST_OF_A_KIND = 200;
    static constexpr size_t MOST_BYTES_OF_A_KIND = 1U << 20;
    static constexpr size_t LONGEST_KEPT = 32U << 10;

    void Directed(Time at, const std::string& line) override;
    void Asked(Time at, const Request& request, const std::string& ending, bool hasFault,
               const Payload* reply) override;
    void Told(Time at, const ApplicationId& application, uint32_t id, const SharedPayload& payload,
              const char* ending) override;

    uint64_t Last() const;

    // Those behind `number`, in their order: the latest `most` of what is kept.
    std::vector<Happening> Behind(uint64_t number, size_t most) const;

 private:
    struct OfAKind {
        std::deque<Happening> happenings;
        size_t bytes = 0;
    };

    void Add(Happening happening);

    mutable std::mutex mutex_;  // guards what follows
    std::map<std::pair<Happening::Kind, uint32_t>, OfAKind>
        kinds_;  // as many as there are messages: others are one kind
    uint64_t last_ = 0;
};

}  // namespace orvi_sim

#endif
