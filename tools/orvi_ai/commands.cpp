#include "calls.h"

namespace orvi_ai {
namespace {

constexpr uint32_t OWN = WITHOUT_SERVICE | WITHOUT_FIELDS;

// name, message, functions, words, traits, events, plain, run, finish, help
constexpr Command COMMANDS[] = {
    {"app init", "app.init", "OrviAiSrvApiInit", "", OWN, "", nullptr, AppInit, nullptr,
     "announce this process to the service"},
    {"app deinit", "app.deinit", "OrviAiSrvApiDeinit", "", WITHOUT_FIELDS, "", nullptr, AppDeinit, nullptr,
     "tell the service that this process leaves"},
    {"version", "", "OrviAiSrvGetVersion", "", OWN, "", nullptr, Version, nullptr, "the library's version"},
    {"ability", "model.ability", "OrviAiSrvGetAbility", "", 0, "", nullptr, Ability, nullptr, "what the device offers"},

    {"face create", "face.create", "OrviAiSrvCreateFaceDetector", "", TAKES_NAME, "", nullptr, FaceCreate, nullptr,
     "create a face detector, which lives as long as the run"},
    {"face start", "face.start", "OrviAiSrvStartFaceDetector", "",
     TAKES_DETECTOR | TAKES_RATE | WITHOUT_FIELDS | TAKES_FOR | MAKES_EVENTS, "face.*", nullptr, FaceStart, nullptr,
     "start a detector and print what it sees"},
    {"face stop", "face.stop", "OrviAiSrvStopFaceDetector", "", TAKES_DETECTOR | WITHOUT_FIELDS, "", nullptr, FaceStop,
     nullptr, "stop a detector; it may be started again"},
    {"face destroy", "face.destroy", "OrviAiSrvDestroyFaceDetector", "", TAKES_DETECTOR | WITHOUT_FIELDS, "", nullptr,
     FaceDestroy, nullptr, "destroy a detector"},
    {"face photos", "face.photos", "OrviAiSrvFaceDetectorGetById", "faces", TAKES_DETECTOR | TAKES_OUT, "", nullptr,
     FacePhotos, nullptr, "the stored photos of 1 to 5 faces"},
    {"face extract", "", "OrviAiService::PhotoResultExtract OrviAiService::FreePhotoResult", "FILE", OWN | TAKES_OUT,
     "", nullptr, FaceExtract, nullptr, "take the photos out of a reply that was saved to a file"},

    {"caption init", "caption.init", "OrviAiSrvCaptionInit", "", WITHOUT_FIELDS, "", nullptr, CaptionInit, nullptr, ""},
    {"caption start", "caption.start", "OrviAiSrvCaptionStart", "", TAKES_FOR | MAKES_EVENTS, "caption.*", nullptr,
     CaptionStart, OrviAiSrvCaptionStop, "switch captions on and print them; they are switched off at the end"},
    {"caption stop", "caption.stop", "OrviAiSrvCaptionStop", "", WITHOUT_FIELDS, "", OrviAiSrvCaptionStop, nullptr,
     nullptr, ""},
    {"caption deinit", "caption.deinit", "OrviAiSrvCaptionDeInit", "", 0, "", OrviAiSrvCaptionDeInit, nullptr, nullptr,
     ""},

    {"nameplate init", "nameplate.init", "OrviAiSrvNamePlateInit", "", 0, "", OrviAiSrvNamePlateInit, nullptr, nullptr,
     ""},
    {"nameplate start", "nameplate.start", "OrviAiSrvNamePlateStart", "", WITHOUT_FIELDS, "", OrviAiSrvNamePlateStart,
     nullptr, nullptr, ""},
    {"nameplate stop", "nameplate.stop", "OrviAiSrvNamePlateStop", "", WITHOUT_FIELDS, "", OrviAiSrvNamePlateStop,
     nullptr, nullptr, ""},
    {"nameplate deinit", "nameplate.deinit", "OrviAiSrvNamePlateDeInit", "", 0, "", OrviAiSrvNamePlateDeInit, nullptr,
     nullptr, ""},

    {"director init", "", "OrviAiSrvDirectorInit", "", OWN, "", OrviAiSrvDirectorInit, nullptr, nullptr,
     "does nothing and always fails: the director needs no preparation"},
    {"director start", "director.start", "OrviAiSrvDirectorStart", "", WITHOUT_FIELDS, "", OrviAiSrvDirectorStart,
     nullptr, nullptr, ""},
    {"director stop", "director.stop", "OrviAiSrvDirectorStop", "", WITHOUT_FIELDS, "", OrviAiSrvDirectorStop, nullptr,
     nullptr, ""},
    {"director deinit", "", "OrviAiSrvDirectorDeInit", "", OWN, "", OrviAiSrvDirectorDeInit, nullptr, nullptr,
     "does nothing and always fails"},
    {"lock state", "lock.state", "OrviAiLockStateChange", "state", 0, "", nullptr, LockState, nullptr, ""},

    {"checkin init", "checkin.init", "OrviAiSrvCheckInInit", "", WITHOUT_FIELDS, "", OrviAiSrvCheckInInit, nullptr,
     nullptr, ""},
    {"checkin start", "checkin.start", "OrviAiSrvCheckInStart", "", 0, "", nullptr, CheckinStart, nullptr, ""},
    {"checkin start-report", "checkin.start-report", "OrviAiSrvCheckInStartReport", "", TAKES_FOR | MAKES_EVENTS,
     "checkin.*", nullptr, CheckinStartReport, OrviAiSrvCheckInStopReport,
     "print who checks in; the report is stopped at the end"},
    {"checkin stop-report", "checkin.stop-report", "OrviAiSrvCheckInStopReport", "", 0, "", OrviAiSrvCheckInStopReport,
     nullptr, nullptr, ""},
    {"checkin page", "checkin.page", "OrviAiSrvGetCheckinData", "", 0, "", nullptr, CheckinPage, nullptr, ""},
    {"checkin photo", "checkin.photo", "OrviAiSrvGetCheckinPhoto", "user", TAKES_OUT, "", nullptr, CheckinPhoto,
     nullptr, ""},
    {"checkin stop", "checkin.stop", "OrviAiSrvCheckInStop", "", 0, "", OrviAiSrvCheckInStop, nullptr, nullptr, ""},
    {"checkin clear", "checkin.clear", "OrviAiSrvCheckInClearData", "", 0, "", OrviAiSrvCheckInClearData, nullptr,
     nullptr, ""},
    {"checkin deinit", "checkin.deinit", "OrviAiSrvCheckInDeinit", "", WITHOUT_FIELDS, "", OrviAiSrvCheckInDeinit,
     nullptr, nullptr, ""},

    {"minutes start", "minutes.start", "OrviAiSrvSignatureStart", "", 0, "", nullptr, MinutesStart, nullptr, ""},
    {"minutes stop", "minutes.stop", "OrviAiSrvSignatureStop", "", 0, "", OrviAiSrvSignatureStop, nullptr, nullptr, ""},

    {"model init", "model.init", "OrviAiSrvLargeModelInit", "", 0, "", nullptr, ModelInit, nullptr, ""},
    {"model ask", "model.ask", "OrviAiSrvLargeModelRequest", "text", TAKES_FOR, "", nullptr, ModelAsk, nullptr,
     "make the model ready, ask it and print its answer"},
    {"model deinit", "model.deinit", "OrviAiSrvLargeModelDeInit", "", 0, "", nullptr, ModelDeinit, nullptr, ""},

    {"hotword register", "hotword.register", "OrviAiAssistantInitKeyWord", "", WITHOUT_FIELDS, "", nullptr,
     HotwordRegister, nullptr, "register the hot-word key of --app"},
    {"hotword replace", "hotword.replace", "OrviAiAssistantUpdateKeyWord", "WORD...", WITHOUT_FIELDS, "", nullptr,
     HotwordReplace, nullptr, ""},
    {"hotword add", "hotword.add", "OrviAiAssistantUpdateKeyWord", "WORD...", WITHOUT_FIELDS, "", nullptr, HotwordAdd,
     nullptr, ""},
    {"hotword remove", "hotword.remove", "OrviAiAssistantUpdateKeyWord", "WORD...", WITHOUT_FIELDS, "", nullptr,
     HotwordRemove, nullptr, ""},
    {"assistant intents", "assistant.intents", "OrviAiAssistantInitIntent", "names", 0, "", nullptr, AssistantIntents,
     nullptr, ""},
    {"assistant speak", "assistant.speak", "OrviAiAssistantRequestTts", "", 0, "", nullptr, AssistantSpeak, nullptr,
     ""},
    {"assistant answer", "assistant.answer", "OrviAiAssistantNotifyIntentResult", "", 0, "", nullptr, AssistantAnswer,
     nullptr, ""},
    {"assistant card", "assistant.card", "OrviAiAssistantDisplayCard", "", TAKES_ITEMS, "", nullptr, AssistantCard,
     nullptr, ""},
    {"assistant choose", "assistant.choose", "OrviAiAssistantChooseItem", "", 0, "", nullptr, AssistantChoose, nullptr,
     ""},
    {"assistant wake", "assistant.wake", "OrviAiAssistantWakeUp", "", 0, "", nullptr, AssistantWake, nullptr, ""},
    {"assistant sleep", "assistant.sleep", "OrviAiAssistantSleep", "", 0, "", OrviAiAssistantSleep, nullptr, nullptr,
     ""},
    {"assistant status", "assistant.status", "OrviAiAssistantGetStatus", "", 0, "", nullptr, AssistantStatus, nullptr,
     ""},
    {"assistant page", "assistant.page", "OrviAiAssistantGetPageInfo", "", 0, "", nullptr, AssistantPage, nullptr, ""},
    {"assistant set-page", "assistant.set-page", "OrviAiAssistantSetPageInfo", "", 0, "", nullptr, AssistantSetPage,
     nullptr, "set the page that the assistant is on"},
    {"assistant ability", "", "OrviAiAssistantGetAbility", "", OWN, "", nullptr, AssistantAbility, nullptr,
     "two figures about the assistant"},

    {"watch", "", "", "EVENT...", TAKES_FOR | MAKES_EVENTS | TAKES_RATE, "", nullptr, Watch, nullptr,
     "print every event, decoded; EVENT narrows it down: caption.line checkin.*"},
    {"wait", "", "", "EVENT [FIELD=VALUE...]", TAKES_WITHIN, "", nullptr, Wait, nullptr,
     "wait for an event: for one that came before, too, when no other `wait` has passed it"},
    {"sleep", "", "", "TIME", OWN, "", nullptr, Sleep, nullptr, "do nothing: 500ms, 2s, 1m"},
    {"run", "", "", "FILE", OWN | TAKES_KEEP_GOING, "", nullptr, RunScript, nullptr,
     "carry out the commands of a file, or of - for standard input, in one process"},
    {"commands", "", "", "", OWN, "", nullptr, ListCommands, nullptr, "each command and the function that it calls"},
    {"messages", "", "", "[MESSAGE]", OWN, "", nullptr, ListMessages, nullptr,
     "each message of the service, or the fields of one"},
};

}  // namespace

orvi_protocol::Rows<Command> Commands() {
    return COMMANDS;
}

std::vector<const orvi_protocol::Field*> OptionFields(const Command& command) {
    std::vector<const orvi_protocol::Field*> fields;
    const orvi_protocol::Message* const message = MessageOf(command);
    if (message == nullptr || message->payload == nullptr || (command.traits & WITHOUT_FIELDS) != 0) {
        return fields;
    }
    const std::string_view words = command.words;
    // What a detector's record holds comes from the detector.
    const bool hasDetector = (command.traits & TAKES_DETECTOR) != 0;
    for (const orvi_protocol::Field* field : orvi_protocol::SettableFields(*message->payload)) {
        const bool isRecord = field->type == orvi_protocol::Type::Record;
        if (!isRecord && (!hasDetector || field->name == words)) {
            fields.push_back(field);
        }
    }
    return fields;
}

std::string OptionName(const orvi_protocol::Field& field) {
    std::string name = "--";
    for (const char c : field.name) {
        if (c >= 'A' && c <= 'Z') {
            name += {'-', static_cast<char>(c - 'A' + 'a')};
        } else {
            name += c;
        }
    }
    return name;
}

}  // namespace orvi_ai
