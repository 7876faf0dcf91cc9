#include "control.h"

#include <cerrno>
#include <cstdio>
#include <iterator>
#include <poll.h>
#include <sstream>
#include <unistd.h>
#include <vector>

#include "event_table.h"
#include "features/assistant.h"
#include "features/meeting.h"
#include "log.h"

namespace orvi_sim {

const char CONTROL_HELP[] =
    "Commands on standard input (--control); each is answered by one line that begins with ok or error:\n"
    "  push ID [WORD...]              queue a message for every client\n"
    "  pushto PROCESS ID [WORD...]    queue a message for the clients of one process\n"
    "  clients                        the clients with their counts\n"
    "  await clients N [MS]           wait until N clients are known\n"
    "  await request ID N [MS]        wait until N messages with this id have been handled\n"
    "  await sent [MS]                wait until nothing is queued any more\n"
    "  count ID, last ID              how many messages with this id have come; the last one's payload\n"
    "  reply ID [WORD...]             answer requests of this id with this payload\n"
    "  empty ID, nodata ID, silent ID answer with length 0, without data, not at all\n"
    "  delay ID MS                    answer later\n"
    "  hold ID, release ID            keep the replies back, let them go\n"
    "  reset ID, reset all            answer as usual again\n"
    "  state                          what the meeting features keep\n"
    "  arrive [N]                     participants check in now, while the check-in runs\n"
    "  events                         the messages that the service knows to send\n"
    "  say WORD...                    somebody in the room says this to the voice assistant\n"
    "  mic on, mic off                its microphone\n"
    "  patience MS                    how long it waits for words and for answers\n"
    "  speech MS                      how long it takes to speak a character\n"
    "  assistant                      what it is doing, its intents, the hot words of each application\n"
    "  quit                           end; so does the end of the input\n"
    "WORD is a 32-bit integer (7, -7, 0x2a), hex:00ff, zeros:100, text:hello, or none for no payload.\n"
    "Without a WORD a push carries zero bytes of the message's usual length.\n";

namespace {

using Clock = std::chrono::steady_clock;
using Words = std::vector<std::string>;

constexpr uint32_t DEFAULT_WAIT_MS = 10000;
constexpr size_t LONGEST_LINE = 64U << 20;

struct Context {
    Service& service;
    StopSignal& stop;
};

std::string Error(const std::string& reason) {
    return "error " + reason;
}

bool ParsePayload(const Words& words, size_t first, Payload& payload, std::string& error) {
    if (words.size() == first + 1 && words[first] == "none") {
        return true;
    }
    for (size_t i = first; i < words.size(); ++i) {
        if (!AppendWord(payload, words[i], error)) {
            return false;
        }
    }
    return true;
}

bool ParsePush(const Words& words, size_t first, uint32_t& id, Payload& payload, std::string& error) {
    const std::optional<uint32_t> number = words.size() > first ? ParseNumber(words[first]) : std::nullopt;
    if (!number) {
        error = "a message id is missing or no number";
        return false;
    }
    id = *number;
    if (words.size() == first + 1) {
        const EventRow* row = FindEvent(id);
        payload.resize(row != nullptr ? row->defaultLength : 0);
        return true;
    }
    return ParsePayload(words, first + 1, payload, error);
}

std::string Push(Context& context, const Words& words) {
    const bool toOne = words[0] == "pushto";
    if (toOne && words.size() < 2) {
        return Error("pushto takes a process");
    }
    uint32_t id = 0;
    Payload payload;
    std::string error;
    if (!ParsePush(words, toOne ? 2 : 1, id, payload, error)) {
        return Error(error);
    }
    Clients& clients = context.service.GetClients();
    const size_t queued =
        toOne ? clients.PushTo(words[1], id, std::move(payload)) : clients.PushToAll(id, std::move(payload));
    return "ok " + std::to_string(queued);
}

std::string ListClients(Context& context, const Words&) {
    const auto list = context.service.GetClients().List();
    std::ostringstream answer;
    answer << "ok " << list.size();
    for (const Clients::Status& client : list) {
        answer << ' ' << client.address.process << '/' << client.address.task << " sent=" << client.counts.sent
               << " failed=" << client.counts.failed << " overflowed=" << client.counts.overflowed
               << " queued=" << client.counts.queued;
    }
    return answer.str();
}

std::string ListEvents(Context&, const Words&) {
    size_t count = 0;
    const EventRow* rows = EventTable(count);
    std::ostringstream answer;
    answer << "ok " << count << std::hex;
    for (size_t i = 0; i < count; ++i) {
        answer << " 0x" << rows[i].id << "=\"" << rows[i].name << '"';
    }
    return answer.str();
}

// await clients N [MS] | await request ID N [MS] | await sent [MS]
std::string Await(Context& context, const Words& words) {
    std::vector<uint32_t> numbers;
    for (size_t i = 2; i < words.size(); ++i) {
        const std::optional<uint32_t> number = ParseNumber(words[i]);
        if (!number) {
            return Error("'" + words[i] + "' is no number");
        }
        numbers.push_back(*number);
    }
    const std::string what = words.size() > 1 ? words[1] : "";
    const size_t needed = what == "request" ? 2 : what == "clients" ? 1 : 0;
    if ((needed == 0 && what != "sent") || numbers.size() < needed || numbers.size() > needed + 1) {
        return Error("await takes clients N, request ID N or sent, and milliseconds");
    }
    const uint32_t waitMs = numbers.size() > needed ? numbers[needed] : DEFAULT_WAIT_MS;
    const auto deadline = Clock::now() + std::chrono::milliseconds(waitMs);
    Clients& clients = context.service.GetClients();
    const bool done = what == "request"   ? context.service.GetTraffic().AwaitCount(numbers[0], numbers[1], deadline)
                      : what == "clients" ? clients.AwaitCount(numbers[0], deadline)
                                          : clients.AwaitSent(deadline);
    return done ? "ok" : Error("waited " + std::to_string(waitMs) + " ms in vain");
}

std::string Count(Context& context, const Words& words) {
    const std::optional<uint32_t> id = words.size() == 2 ? ParseNumber(words[1]) : std::nullopt;
    if (!id) {
        return Error(words[0] + " takes an id");
    }
    Traffic& traffic = context.service.GetTraffic();
    return "ok " + (words[0] == "count" ? std::to_string(traffic.Count(*id)) : ToHex(traffic.Last(*id)));
}

std::string SetFault(Context& context, const Words& words) {
    const std::optional<uint32_t> id = words.size() >= 2 ? ParseNumber(words[1]) : std::nullopt;
    const bool takesWords = words[0] == "reply";
    if (!id || (!takesWords && words.size() != 2)) {
        return Error(words[0] + (takesWords ? " takes an id and a payload" : " takes an id"));
    }
    Payload given;
    std::string error;
    if (takesWords && !ParsePayload(words, 2, given, error)) {
        return Error(error);
    }
    const Fault::Reply reply = words[0] == "silent"   ? Fault::Reply::Silent
                               : words[0] == "nodata" ? Fault::Reply::NoData
                                                      : Fault::Reply::Given;
    context.service.GetFaults().SetReply(*id, reply, std::move(given));
    return "ok";
}

std::string Delay(Context& context, const Words& words) {
    const std::optional<uint32_t> id = words.size() == 3 ? ParseNumber(words[1]) : std::nullopt;
    const std::optional<uint32_t> delayMs = id ? ParseNumber(words[2]) : std::nullopt;
    if (!delayMs) {
        return Error("delay takes an id and milliseconds");
    }
    context.service.GetFaults().SetDelay(*id, std::chrono::milliseconds(*delayMs));
    return "ok";
}

std::string HoldOrRelease(Context& context, const Words& words) {
    const std::optional<uint32_t> id = words.size() == 2 ? ParseNumber(words[1]) : std::nullopt;
    if (!id) {
        return Error(words[0] + " takes an id");
    }
    if (words[0] == "release") {
        context.service.GetFaults().Reset(*id);
        return "ok " + std::to_string(context.service.Release(*id));
    }
    context.service.GetFaults().SetHold(*id);
    return "ok";
}

std::string Reset(Context& context, const Words& words) {
    if (words.size() == 2 && words[1] == "all") {
        context.service.GetFaults().ResetAll();
        return "ok";
    }
    const std::optional<uint32_t> id = words.size() == 2 ? ParseNumber(words[1]) : std::nullopt;
    if (!id) {
        return Error("reset takes an id or all");
    }
    context.service.GetFaults().Reset(*id);
    return "ok";
}

std::string Say(Context& context, const Words& words) {
    std::string text;
    for (size_t i = 1; i < words.size(); ++i) {
        text += (i == 1 ? "" : " ") + words[i];
    }
    std::string outcome;
    return SayToAssistant(context.service, text, outcome) ? "ok " + outcome : Error(outcome);
}

std::string Microphone(Context& context, const Words& words) {
    if (words.size() != 2 || (words[1] != "on" && words[1] != "off")) {
        return Error("mic takes on or off");
    }
    SetAssistantMicrophone(context.service, words[1] == "on");
    return "ok";
}

std::string AssistantTime(Context& context, const Words& words) {
    const std::optional<uint32_t> timeMs = words.size() == 2 ? ParseNumber(words[1]) : std::nullopt;
    if (!timeMs) {
        return Error(words[0] + " takes milliseconds");
    }
    const std::chrono::milliseconds time(*timeMs);
    if (words[0] == "patience") {
        SetAssistantPatience(context.service, time);
    } else {
        SetAssistantSpeech(context.service, time);
    }
    return "ok";
}

std::string Assistant(Context& context, const Words&) {
    return "ok " + DescribeAssistant(context.service);
}

std::string State(Context&, const Words&) {
    return "ok " + DescribeNameplate() + " " + DescribeDirector() + " " + DescribeCheckin() + " " + DescribeMinutes();
}

std::string LetParticipantsArrive(Context& context, const Words& words) {
    const std::optional<uint32_t> count = words.size() == 1 ? 1 : ParseNumber(words[1]);
    if (!count || words.size() > 2) {
        return Error("arrive takes a number of participants");
    }
    return "ok " + std::to_string(LetArrive(context.service, *count));
}

std::string Quit(Context& context, const Words&) {
    context.stop.Raise(0);
    return "ok";
}

struct CommandRow {
    const char* name;
    std::string (*execute)(Context& context, const Words& words);
};

const CommandRow COMMANDS[] = {
    {"push", Push},
    {"pushto", Push},
    {"clients", ListClients},
    {"events", ListEvents},
    {"await", Await},
    {"count", Count},
    {"last", Count},
    {"reply", SetFault},
    {"empty", SetFault},
    {"nodata", SetFault},
    {"silent", SetFault},
    {"delay", Delay},
    {"hold", HoldOrRelease},
    {"release", HoldOrRelease},
    {"reset", Reset},
    {"quit", Quit},
    {"say", Say},
    {"mic", Microphone},
    {"patience", AssistantTime},
    {"speech", AssistantTime},
    {"assistant", Assistant},
    {"state", State},
    {"arrive", LetParticipantsArrive},
};

// Blanks separate words; after "text:" blanks belong to the text.
Words Split(const std::string& line) {
    Words words;
    std::istringstream stream(line);
    std::string word;
    while (stream >> word) {
        if (word.compare(0, 5, "text:") == 0) {
            std::string rest;
            std::getline(stream, rest);
            words.push_back(word + rest);
            break;
        }
        words.push_back(word);
    }
    return words;
}

void WriteAnswer(const std::string& answer) {
    // A reader that has gone shows as the end of the input.
    std::fputs((answer + "\n").c_str(), stdout);
    std::fflush(stdout);
}

// Takes the complete lines out of `input` and carries them out.
void ExecuteLines(Service& service, StopSignal& stop, std::string& input) {
    size_t begin = 0;
    for (size_t end = input.find('\n'); end != std::string::npos && !stop.Raised(); end = input.find('\n', begin)) {
        const std::string line = input.substr(begin, end - begin);
        begin = end + 1;
        if (!Split(line).empty()) {
            WriteAnswer(Execute(service, stop, line));
        }
    }
    input.erase(0, begin);
}

}  // namespace

std::optional<ScheduledPush> ParseScheduledPush(const std::string& text, std::string& error) {
    std::string body = text;
    uint32_t delayMs = 0;
    if (const size_t at = body.rfind('@'); at != std::string::npos) {
        const std::optional<uint32_t> number = ParseNumber(std::string_view(body).substr(at + 1));
        if (!number) {
            error = "what follows '@' is no number of milliseconds";
            return std::nullopt;
        }
        delayMs = *number;
        body.erase(at);
    }
    Words words{body.substr(0, body.find(':'))};
    if (const size_t colon = body.find(':'); colon != std::string::npos) {
        std::istringstream stream(body.substr(colon + 1));
        for (std::string word; std::getline(stream, word, ',');) {
            words.push_back(word);
        }
    }
    ScheduledPush push{};
    if (!ParsePush(words, 0, push.id, push.payload, error)) {
        return std::nullopt;
    }
    push.delay = std::chrono::milliseconds(delayMs);
    return push;
}

std::string Execute(Service& service, StopSignal& stop, const std::string& line) {
    const Words words = Split(line);
    if (words.empty()) {
        return Error("an empty command");
    }
    for (const CommandRow& row : COMMANDS) {
        if (words[0] == row.name) {
            Context context{service, stop};
            return row.execute(context, words);
        }
    }
    return Error("no command '" + words[0] + "', see --help");
}

void ServeControl(Service& service, StopSignal& stop) {
    std::string input;
    pollfd watched[] = {{STDIN_FILENO, POLLIN, 0}, {stop.Descriptor(), POLLIN, 0}};
    while (!stop.Raised()) {
        if (poll(watched, std::size(watched), -1) < 0 && errno != EINTR) {
            Log("cannot wait for commands, errno %d", errno);
            stop.Raise(1);
            return;
        }
        if (watched[1].revents != 0 || watched[0].revents == 0) {
            continue;
        }
        char buffer[4096];
        const ssize_t count = read(STDIN_FILENO, buffer, sizeof(buffer));
        if (count <= 0) {
            if (count == 0 || errno != EINTR) {
                stop.Raise(0);
            }
            continue;
        }
        input.append(buffer, static_cast<size_t>(count));
        ExecuteLines(service, stop, input);
        if (input.size() > LONGEST_LINE) {
            WriteAnswer(Error("the line is too long"));
            stop.Raise(1);
        }
    }
}

}  // namespace orvi_sim
