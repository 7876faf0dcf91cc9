// Answers of the simulated large model: put together from the words of the request and sent piece by piece.
#ifndef ORVI_SIM_MODEL_ANSWERS_H
#define ORVI_SIM_MODEL_ANSWERS_H

#include <cstddef>
#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "orvi_vision_sim_payloads.h"

namespace orvi_sim {

class Service;

// The answer to a text, the same for the same text; `type` is ASK, SUMMARISE or REPEAT.
std::string ModelAnswer(uint32_t type, const std::string& text);

// The text in pieces of up to three words, each with its spaces and shorter than a piece's field.
std::vector<std::string> PiecesOf(const std::string& text);

// The answers under way. Any thread; no function waits. Events go to every client.
class ModelAnswers {
 public:
    explicit ModelAnswers(Service& service) : service_(service) {}  // outlives the object
    ModelAnswers(const ModelAnswers&) = delete;
    ModelAnswers& operator=(const ModelAnswers&) = delete;

    void Init();
    void DeInit();  // cancels what is under way

    // Begins an answer. A refusal is an event, too.
    void Begin(uint32_t requestId, uint32_t type, const std::string& text);
    bool Cancel(uint32_t requestId);  // false when there is nothing to cancel
    void Refuse(uint32_t requestId, uint32_t result);

 private:
    struct Answer {
        std::vector<std::string> pieces;
        size_t sent = 0;
        size_t sentLength = 0;
        uint64_t number;  // tells an answer from a later one to the same request
    };
    using Answers = std::map<uint32_t, Answer>;

    // The mutex is held in all of these.
    void SendEnd(uint32_t requestId, uint32_t result, size_t pieces, size_t textLength);
    void End(Answers::iterator answer, uint32_t result);
    void ScheduleNext(uint32_t requestId, uint64_t number);
    void SendNext(Answers::iterator answer);

    Service& service_;
    std::mutex mutex_;  // guards what follows
    bool ready_ = false;
    Answers answers_;
    uint64_t answersBegun_ = 0;
};

}  // namespace orvi_sim

#endif
