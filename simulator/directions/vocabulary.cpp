#include "directions/vocabulary.h"

#include "service/clock.h"

namespace orvi_sim {
namespace {

constexpr uint32_t MOST_FACES = 7;  // that a picture has: ORVI_SIM_MAX_FACES

const Parameter MESSAGE = {"MESSAGE", Type::Message};
const Parameter ANY_MESSAGE = {"MESSAGE", Type::Message, true};
const Parameter WORDS = {"FIELD=VALUE|WORD", Type::Words, true};
const Parameter TEXT = {"TEXT", Type::Text};
const Parameter NAME = {"--name NAME", Type::Name, false, 0, UINT32_MAX, true};
const Parameter APP = {"--app NAME", Type::Name};
const Parameter WITHIN = {"TIME", Type::Time, true};
const Parameter COUNT = {"N", Type::Number};
const Parameter SOME = {"N", Type::Number, true, 1, 10000};
const std::vector<Parameter> WHEN = {{"--once", Type::Flag},
                                     {"--nth N", Type::Number, false, 1},
                                     {"--every N", Type::Number, false, 1},
                                     {"--chance PERCENT", Type::Number, false, 1, 100},
                                     APP};

}  // namespace

const std::vector<Row>& Vocabulary() {
    static const std::vector<Row> ROWS = {
        // name, parameters, options, help

        // The room
        {"person enters",
         {},
         {NAME, {"--kind invited|guest", Type::Choice}, {"--photo FILE", Type::File}},
         "somebody comes, and checks in while the check-in runs"},
        {"person leaves", {}, {NAME}, "somebody goes, and counts as present no more"},
        {"persons", {}, {}, "who is invited or here"},
        {"arrive", {SOME}, {}, "the next participants check in now, while the check-in runs"},
        {"time", {{"HH:MM[:SS]", Type::Clock}}, {}, "the time of day at which people check in"},
        {"clock", {}, {}, "the room's time since the start, and its pace"},
        {"clock scale",
         {{"N|max", Type::NumberOr, false, 1, Clock::FASTEST}},
         {},
         "it goes N times as fast; max: from event to event, without a pause"},
        {"clock step", {{"TIME", Type::Time}}, {}, "it goes on by so much and then stands, until clock scale 1"},
        {"faces",
         {{"N|usual", Type::NumberOr, false, 0, MOST_FACES}},
         {},
         "so many faces before the camera, side by side; or who is there usually"},
        {"face",
         {{"NUMBER", Type::Number, false, 1, MOST_FACES},
          {"X", Type::Number, false, 0, 1919},
          {"Y", Type::Number, false, 0, 1079}},
         {},
         "move one of these faces: its middle, in pixels"},
        {"caption",
         {TEXT},
         {{"--speaker NAME", Type::Name}, {"--partial", Type::Flag}},
         "somebody in the room is heard, while captions are on"},
        {"conversation", {{"on|off", Type::Choice}}, {}, "the conversation that is heard when captions are reported"},

        // The voice assistant
        {"say", {TEXT}, {}, "somebody in the room says this to the voice assistant"},
        {"assistant", {}, {}, "what it is doing, its intents, the hot words of each application"},
        {"assistant chooses", {{"ITEM", Type::Number}}, {}, "somebody chooses an item of what the assistant asks"},
        {"assistant fails", {{"TEXT", Type::Text, true}}, {}, "the assistant gives up its turn and tells an error"},
        {"mic", {{"on|off", Type::Choice}}, {}, "its microphone"},
        {"patience", {{"TIME", Type::Time}}, {}, "how long it waits for words and for answers"},
        {"speech", {{"TIME", Type::Time}}, {}, "how long it takes to speak a character"},

        // The large model and the device
        {"model answers", {TEXT}, {}, "what the large model answers from now on"},
        {"model usual", {}, {}, "it answers from the words of the question again, at its usual pace"},
        {"model pace", {{"TIME", Type::Time}}, {}, "how long it takes for three words"},
        {"model fails",
         {{"cancelled|not-ready|busy|bad-request", Type::Choice}},
         {},
         "its next answer ends like this before it begins"},
        {"ability",
         {{"cloud-model|voice-assistant", Type::Choice}, {"on|off", Type::Choice}},
         {},
         "what the device says that it offers"},
        {"lock",
         {{"STATE", Type::Number}},
         {},
         "the lock state that the service keeps, as if an application had told it"},
        {"service status", {{"NUMBER", Type::Number}}, {}, "tell applications this status of the service"},

        // Events and applications
        {"push", {MESSAGE, WORDS}, {APP, {"--raw", Type::Flag}}, "send an event by hand; see help push"},
        {"messages", {{"PATTERN", Type::Name, true}}, {}, "the messages and events that there are, caption.* for some"},
        {"events", {}, {}, "the events that the service sends, with their ids"},
        {"clients", {}, {}, "the applications with their counts"},
        {"state", {}, {}, "what the features keep"},
        {"view", {}, {}, "the address of the page that shows the room, which orvi-vision-sim --view serves"},

        // Faults
        {"refuse", {MESSAGE, {"not-ready|busy|malformed", Type::Choice}}, WHEN, "answer with this verdict"},
        {"reply", {MESSAGE, WORDS}, WHEN, "answer with this payload"},
        {"empty", {MESSAGE}, WHEN, "answer with length 0"},
        {"nodata", {MESSAGE}, WHEN, "answer without data"},
        {"long", {MESSAGE, {"BYTES", Type::Number, true, 1, 1U << 20}}, WHEN, "append bytes to the reply or event [1]"},
        {"short", {MESSAGE, {"BYTES", Type::Number, true, 1, 1U << 20}}, WHEN, "cut bytes off the reply or event [1]"},
        {"silent", {MESSAGE}, WHEN, "do not handle a request and never answer it"},
        {"drop", {MESSAGE}, WHEN, "lose a one-way message or an event"},
        {"double", {MESSAGE}, WHEN, "handle a one-way message, or send an event, twice"},
        {"delay", {MESSAGE, {"TIME", Type::Time}}, WHEN, "handle or send it later"},
        {"hold", {MESSAGE}, WHEN, "keep it back until it is released"},
        {"release", {MESSAGE}, {}, "let what is kept back go, and hold no more"},
        {"crash",
         {ANY_MESSAGE, {"before|after", Type::Choice, true}, {"reply", Type::Choice, true}},
         WHEN,
         "the process dies: now, or at a message, before or after its reply"},
        {"restart", {}, {}, "the process dies and starts again, as new"},
        {"faults", {}, {}, "what is armed, and how often it has happened"},
        {"reset", {MESSAGE}, {}, "as usual again"},
        {"reset all", {}, {}, "everything as usual again"},

        // What applications asked
        {"journal",
         {{"PATTERN", Type::Name, true}},
         {APP, {"--last N", Type::Number, false, 1}, {"--reveal", Type::Flag}},
         "what applications asked and how it ended; caption.* for some"},
        {"mark", {}, {}, "from here on counts for expect"},
        {"expect",
         {MESSAGE, {"FIELD=VALUE", Type::Words, true}},
         {{"--within TIME", Type::Time}, APP, {"--reveal", Type::Flag}},
         "whether it was asked since the last mark, or is within this time"},
        {"expect no",
         {MESSAGE, {"FIELD=VALUE", Type::Words, true}},
         {{"--within TIME", Type::Time}, APP, {"--reveal", Type::Flag}},
         "whether it was not asked since the last mark, and is not within this time"},
        {"count", {MESSAGE}, {}, "how many of this message have come"},
        {"last", {MESSAGE}, {}, "the payload of the last one, in hexadecimal digits"},
        {"await clients", {COUNT, WITHIN}, {}, "wait until so many applications are there [10s]"},
        {"await request", {MESSAGE, COUNT, WITHIN}, {}, "wait until so many of this message have come [10s]"},
        {"await sent", {WITHIN}, {}, "wait until nothing is queued any more [10s]"},

        {"help", {{"NAME", Type::Words, true}}, {}, "all directions, or one"},
        {"quit", {}, {}, "end the service; on standard input the end of the input does so, too, unless it was empty"},
    };
    return ROWS;
}

}  // namespace orvi_sim
