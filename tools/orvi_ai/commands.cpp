#include "calls.h"

namespace orvi_ai {
namespace {

constexpr uint32_t OWN = WITHOUT_SERVICE | WITHOUT_FIELDS;

// name, message, functions, words, traits, events, plain, run, prepare, finish, help
constexpr Command COMMANDS[] = {
    {"app init", "app.init", "OrviAiSrvApiInit", "", OWN, "", nullptr, AppInit, nullptr, nullptr,
     "announce this process to the service"},
    {"app deinit", "app.deinit", "OrviAiSrvApiDeinit", "", WITHOUT_FIELDS, "", nullptr, AppDeinit, nullptr, nullptr,
     "tell the service that this process leaves"},
    {"version", "", "OrviAiSrvGetVersion", "", OWN, "", nullptr, Version, nullptr, nullptr, "the library's version"},
    {"ability", "model.ability", "OrviAiSrvGetAbility", "", 0, "", nullptr, Ability, nullptr, nullptr,
     "what the device offers"},

    {"face create", "face.create", "OrviAiSrvCreateFaceDetector", "", TAKES_NAME, "", nullptr, FaceCreate, nullptr,
     nullptr, "create a face detector, which lives as long as the run"},
    {"face start", "face.start", "OrviAiSrvStartFaceDetector", "",
     TAKES_DETECTOR | TAKES_RATE | WITHOUT_FIELDS | TAKES_FOR | MAKES_EVENTS, "face.*", nullptr, FaceStart, nullptr,
     nullptr, "start a detector and print what it sees"},
    {"face stop", "face.stop", "OrviAiSrvStopFaceDetector", "", TAKES_DETECTOR | WITHOUT_FIELDS, "", nullptr, FaceStop,
     nullptr, nullptr, "stop a detector; it may be started again"},
    {"face destroy", "face.destroy", "OrviAiSrvDestroyFaceDetector", "", TAKES_DETECTOR | WITHOUT_FIELDS, "", nullptr,
     FaceDestroy, nullptr, nullptr, "destroy a detector"},
    {"face photos", "face.photos", "OrviAiSrvFaceDetectorGetById", "faces", TAKES_DETECTOR | TAKES_OUT, "", nullptr,
     FacePhotos, nullptr, nullptr, "the stored photos of 1 to 5 faces"},
    {"face extract", "", "OrviAiService::PhotoResultExtract OrviAiService::FreePhotoResult", "FILE", OWN | TAKES_OUT,
     "", nullptr, FaceExtract, nullptr, nullptr, "take the photos out of a reply that was saved to a file"},

    {"caption init", "caption.init", "OrviAiSrvCaptionInit", "", WITHOUT_FIELDS, "", nullptr, CaptionInit, nullptr,
     nullptr, ""},
    {"caption start", "caption.start", "OrviAiSrvCaptionStart", "", TAKES_FOR | MAKES_EVENTS, "caption.*", nullptr,
     CaptionStart, PrepareCaptions, OrviAiSrvCaptionDeInit,
     "switch captions on and print them; they are put away at the end"},
    {"caption stop", "caption.stop", "OrviAiSrvCaptionStop", "", WITHOUT_FIELDS, "", OrviAiSrvCaptionStop, nullptr,
     nullptr, nullptr, ""},
    {"caption deinit", "caption.deinit", "OrviAiSrvCaptionDeInit", "", 0, "", OrviAiSrvCaptionDeInit, nullptr, nullptr,
     nullptr, ""},

    {"nameplate init", "nameplate.init", "OrviAiSrvNamePlateInit", "", 0, "", OrviAiSrvNamePlateInit, nullptr, nullptr,
     nullptr, ""},
    {"nameplate start", "nameplate.start", "OrviAiSrvNamePlateStart", "", TAKES_FOR | MAKES_EVENTS | WITHOUT_FIELDS,
     "nameplate.*", OrviAiSrvNamePlateStart, nullptr, OrviAiSrvNamePlateInit, OrviAiSrvNamePlateDeInit,
     "switch nameplates on; they are put away at the end"},
    {"nameplate stop", "nameplate.stop", "OrviAiSrvNamePlateStop", "", WITHOUT_FIELDS, "", OrviAiSrvNamePlateStop,
     nullptr, nullptr, nullptr, ""},
    {"nameplate deinit", "nameplate.deinit", "OrviAiSrvNamePlateDeInit", "", 0, "", OrviAiSrvNamePlateDeInit, nullptr,
     nullptr, nullptr, ""},

    {"director init", "", "OrviAiSrvDirectorInit", "", OWN, "", OrviAiSrvDirectorInit, nullptr, nullptr, nullptr,
     "does nothing and always fails: the director needs no preparation"},
    {"director start", "director.start", "OrviAiSrvDirectorStart", "", WITHOUT_FIELDS, "", OrviAiSrvDirectorStart,
     nullptr, nullptr, nullptr, ""},
    {"director stop", "director.stop", "OrviAiSrvDirectorStop", "", WITHOUT_FIELDS, "", OrviAiSrvDirectorStop, nullptr,
     nullptr, nullptr, ""},
    {"director deinit", "", "OrviAiSrvDirectorDeInit", "", OWN, "", OrviAiSrvDirectorDeInit, nullptr, nullptr, nullptr,
     "does nothing and always fails"},
    {"lock state", "lock.state", "OrviAiLockStateChange", "state", 0, "", nullptr, LockState, nullptr, nullptr, ""},

    {"checkin init", "checkin.init", "OrviAiSrvCheckInInit", "", WITHOUT_FIELDS, "", OrviAiSrvCheckInInit, nullptr,
     nullptr, nullptr, ""},
    {"checkin start", "checkin.start", "OrviAiSrvCheckInStart", "", TAKES_FOR | MAKES_EVENTS, "checkin.*", nullptr,
     CheckinStart, OrviAiSrvCheckInInit, OrviAiSrvCheckInDeinit,
     "take participants in, and print the events; it ends with the command"},
    {"checkin start-report", "checkin.start-report", "OrviAiSrvCheckInStartReport", "", TAKES_FOR | MAKES_EVENTS,
     "checkin.*", nullptr, CheckinStartReport, OrviAiSrvCheckInInit, OrviAiSrvCheckInDeinit,
     "take participants in and print who comes; it ends with the command"},
    {"checkin stop-report", "checkin.stop-report", "OrviAiSrvCheckInStopReport", "", 0, "", OrviAiSrvCheckInStopReport,
     nullptr, nullptr, nullptr, ""},
    {"checkin page", "checkin.page", "OrviAiSrvGetCheckinData", "", 0, "", nullptr, CheckinPage, nullptr, nullptr, ""},
    {"checkin photo", "checkin.photo", "OrviAiSrvGetCheckinPhoto", "user", TAKES_OUT, "", nullptr, CheckinPhoto,
     nullptr, nullptr, ""},
    {"checkin stop", "checkin.stop", "OrviAiSrvCheckInStop", "", 0, "", OrviAiSrvCheckInStop, nullptr, nullptr, nullptr,
     ""},
    {"checkin clear", "checkin.clear", "OrviAiSrvCheckInClearData", "", 0, "", OrviAiSrvCheckInClearData, nullptr,
     nullptr, nullptr, ""},
    {"checkin deinit", "checkin.deinit", "OrviAiSrvCheckInDeinit", "", WITHOUT_FIELDS, "", OrviAiSrvCheckInDeinit,
     nullptr, nullptr, nullptr, ""},

    {"minutes start", "minutes.start", "OrviAiSrvSignatureStart", "", TAKES_FOR | GOES_ON, "", nullptr, MinutesStart,
     nullptr, OrviAiSrvSignatureStop, "take the minutes of a conference; they end with the command"},
    {"minutes stop", "minutes.stop", "OrviAiSrvSignatureStop", "", 0, "", OrviAiSrvSignatureStop, nullptr, nullptr,
     nullptr, ""},

    {"model init", "model.init", "OrviAiSrvLargeModelInit", "", 0, "", nullptr, ModelInit, nullptr, nullptr, ""},
    {"model ask", "model.ask", "OrviAiSrvLargeModelRequest", "text", TAKES_FOR, "", nullptr, ModelAsk, nullptr, nullptr,
     "make the model ready, ask it and print its answer"},
    {"model deinit", "model.deinit", "OrviAiSrvLargeModelDeInit", "", 0, "", nullptr, ModelDeinit, nullptr, nullptr,
     ""},

    {"hotword register", "hotword.register", "OrviAiAssistantInitKeyWord", "", WITHOUT_FIELDS, "", nullptr,
     HotwordRegister, nullptr, nullptr, "register the hot-word key of --app, which lasts as long as the run"},
    {"hotword replace", "hotword.replace", "OrviAiAssistantUpdateKeyWord", "WORD...",
     TAKES_FOR | MAKES_EVENTS | WITHOUT_FIELDS, "assistant.*", nullptr, HotwordReplace, nullptr, nullptr,
     "hot words in the place of those before; they last as long as the command, which prints what the assistant does"},
    {"hotword add", "hotword.add", "OrviAiAssistantUpdateKeyWord", "WORD...", TAKES_FOR | MAKES_EVENTS | WITHOUT_FIELDS,
     "assistant.*", nullptr, HotwordAdd, nullptr, nullptr,
     "more hot words; they last as long as the command, which prints what the assistant does"},
    {"hotword remove", "hotword.remove", "OrviAiAssistantUpdateKeyWord", "WORD...", WITHOUT_FIELDS, "", nullptr,
     HotwordRemove, nullptr, nullptr, "hot words that are no longer wanted; in a script"},
    {"assistant intents", "assistant.intents", "OrviAiAssistantInitIntent", "names", TAKES_FOR | MAKES_EVENTS,
     "assistant.*", nullptr, AssistantIntents, nullptr, nullptr,
     "the intents that this process handles while it runs, printing what the assistant does"},
    {"assistant speak", "assistant.speak", "OrviAiAssistantRequestTts", "", 0, "", nullptr, AssistantSpeak, nullptr,
     nullptr, ""},
    {"assistant answer", "assistant.answer", "OrviAiAssistantNotifyIntentResult", "", 0, "", nullptr, AssistantAnswer,
     nullptr, nullptr, ""},
    {"assistant card", "assistant.card", "OrviAiAssistantDisplayCard", "", TAKES_ITEMS, "", nullptr, AssistantCard,
     nullptr, nullptr, ""},
    {"assistant choose", "assistant.choose", "OrviAiAssistantChooseItem", "", 0, "", nullptr, AssistantChoose, nullptr,
     nullptr, ""},
    {"assistant wake", "assistant.wake", "OrviAiAssistantWakeUp", "", 0, "", nullptr, AssistantWake, nullptr, nullptr,
     ""},
    {"assistant sleep", "assistant.sleep", "OrviAiAssistantSleep", "", 0, "", OrviAiAssistantSleep, nullptr, nullptr,
     nullptr, ""},
    {"assistant status", "assistant.status", "OrviAiAssistantGetStatus", "", 0, "", nullptr, AssistantStatus, nullptr,
     nullptr, ""},
    {"assistant page", "assistant.page", "OrviAiAssistantGetPageInfo", "", 0, "", nullptr, AssistantPage, nullptr,
     nullptr, ""},
    {"assistant set-page", "assistant.set-page", "OrviAiAssistantSetPageInfo", "", 0, "", nullptr, AssistantSetPage,
     nullptr, nullptr, "set the page that the assistant is on"},
    {"assistant ability", "", "OrviAiAssistantGetAbility", "", OWN, "", nullptr, AssistantAbility, nullptr, nullptr,
     "two figures about the assistant"},

    {"watch", "", "", "EVENT...", TAKES_FOR | MAKES_EVENTS | TAKES_RATE, "", nullptr, Watch, nullptr, nullptr,
     "print every event, decoded; EVENT narrows it down: caption.line checkin.*"},
    {"wait", "", "", "EVENT [FIELD=VALUE...]", TAKES_WITHIN, "", nullptr, Wait, nullptr, nullptr,
     "wait for an event: for one that came before, too, when no other `wait` has passed it"},
    {"sleep", "", "", "TIME", OWN, "", nullptr, Sleep, nullptr, nullptr, "do nothing: 500ms, 2s, 1m"},
    {"run", "", "", "FILE", OWN | TAKES_KEEP_GOING, "", nullptr, RunScript, nullptr, nullptr,
     "carry out the commands of a file, or of - for standard input, in one process"},
    {"commands", "", "", "", OWN, "", nullptr, ListCommands, nullptr, nullptr,
     "each command and the function that it calls"},
    {"messages", "", "", "[MESSAGE]", OWN, "", nullptr, ListMessages, nullptr, nullptr,
     "each message of the service, those of a feature, or the fields of one"},
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
