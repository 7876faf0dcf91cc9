// The captions of a conference as lines of text; set up again when the vision service restarts.
#ifndef CAPTION_BOARD_H
#define CAPTION_BOARD_H

#include <condition_variable>
#include <mutex>
#include <string>
#include <vector>

#include "orvi_ai_srv.h"

// One per process: the library's callbacks have no context.
class CaptionBoard {
 public:
    explicit CaptionBoard(std::string conference);
    ~CaptionBoard();
    CaptionBoard(const CaptionBoard&) = delete;
    CaptionBoard& operator=(const CaptionBoard&) = delete;

    // Connects and asks for captions. False when the service does not take it; its log has the reason.
    bool Open();

    // Captions off, and goodbye. False when the service could not be told.
    bool Close();

    // Returns when so many lines are final.
    void AwaitLines(size_t count);

    std::vector<std::string> Lines() const;

 private:
    static void OnEvent(OrviAiEventId event, void* payload);
    static void OnCaption(OrviAiCaptionEventId event, void* payload);
    bool SetUp();

    static CaptionBoard* board_;

    const std::string conference_;
    mutable std::mutex mutex_;  // guards the lines
    std::condition_variable changed_;
    std::vector<std::string> lines_;
};

#endif
