// The commands that take more than a plain function, a file for each of the library's parts.
#ifndef ORVI_AI_TOOL_CALLS_H
#define ORVI_AI_TOOL_CALLS_H

#include "session.h"

namespace orvi_ai {

inline Outcome Returned(int result) {
    Outcome outcome;
    outcome.result = result;
    return outcome;
}

inline Outcome Failed(const std::string& reason) {
    Outcome outcome;
    outcome.result = -1;
    outcome.reason = reason;
    return outcome;
}

// calls_connection.cpp
Outcome AppInit(Session& session, const Call& call);
Outcome AppDeinit(Session& session, const Call& call);
Outcome Version(Session& session, const Call& call);
Outcome Ability(Session& session, const Call& call);

// calls_face.cpp
Outcome FaceCreate(Session& session, const Call& call);
Outcome FaceDestroy(Session& session, const Call& call);
Outcome FaceStart(Session& session, const Call& call);
Outcome FaceStop(Session& session, const Call& call);
Outcome FacePhotos(Session& session, const Call& call);
Outcome FaceExtract(Session& session, const Call& call);

// calls_meeting.cpp
Outcome CaptionInit(Session& session, const Call& call);
int PrepareCaptions();
Outcome CaptionStart(Session& session, const Call& call);
Outcome LockState(Session& session, const Call& call);
Outcome CheckinStart(Session& session, const Call& call);
Outcome CheckinStartReport(Session& session, const Call& call);
Outcome CheckinPage(Session& session, const Call& call);
Outcome CheckinPhoto(Session& session, const Call& call);
Outcome MinutesStart(Session& session, const Call& call);

// calls_model.cpp
Outcome ModelInit(Session& session, const Call& call);
Outcome ModelAsk(Session& session, const Call& call);
Outcome ModelDeinit(Session& session, const Call& call);

// calls_assistant.cpp
Outcome HotwordRegister(Session& session, const Call& call);
Outcome HotwordReplace(Session& session, const Call& call);
Outcome HotwordAdd(Session& session, const Call& call);
Outcome HotwordRemove(Session& session, const Call& call);
Outcome AssistantIntents(Session& session, const Call& call);
Outcome AssistantSpeak(Session& session, const Call& call);
Outcome AssistantAnswer(Session& session, const Call& call);
Outcome AssistantCard(Session& session, const Call& call);
Outcome AssistantChoose(Session& session, const Call& call);
Outcome AssistantWake(Session& session, const Call& call);
Outcome AssistantStatus(Session& session, const Call& call);
Outcome AssistantPage(Session& session, const Call& call);
Outcome AssistantSetPage(Session& session, const Call& call);
Outcome AssistantAbility(Session& session, const Call& call);

// calls_own.cpp: what the tool does without a function of its own in the library
Outcome Watch(Session& session, const Call& call);
Outcome Wait(Session& session, const Call& call);
Outcome Sleep(Session& session, const Call& call);
Outcome RunScript(Session& session, const Call& call);
Outcome ListCommands(Session& session, const Call& call);
Outcome ListMessages(Session& session, const Call& call);

// The reply of a message as it stands in a record of the application's.
void ShowReply(Session& session, const orvi_protocol::Record* record, const void* data, size_t length,
               Outcome& outcome);

// Named numbers that are no message, as a table and as JSON.
struct NamedNumber {
    const char* name;
    int64_t number;
};
void ShowNumbers(const std::vector<NamedNumber>& numbers, Outcome& outcome);

// Writes bytes to a file, all or nothing said. False with the reason in `error`.
bool WriteFile(const std::string& path, const void* data, size_t length, std::string& error);

// Whether it can be opened and is no folder.
bool IsReadable(const std::string& path);

// "png" for what begins like a PNG image, else "bin".
const char* ExtensionOf(const void* data, size_t length);

}  // namespace orvi_ai

#endif
