// orvi-room: makes the simulated room do anything, from any terminal. Its commands are the directions of the simulated
// service; their rows are the service's own, so that help and wrong words need nobody who runs.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <string>
#include <unistd.h>
#include <vector>

#include "completion.h"
#include "directions/vocabulary.h"
#include "directions/words.h"
#include "message.h"
#include "orvi_host_bus.h"
#include "standard_streams.h"

namespace orvi_room {
namespace {

using orvi_sim::Row;
using Words = std::vector<std::string>;

enum ExitCode { DONE = 0, REFUSED = 1, USAGE = 2, NOBODY = 3 };

constexpr char TASK[] = "ai_room";
constexpr uint32_t LINE = 0x6FFFF0;              // as the service's room_task.h has it
constexpr uint32_t WAIT_MS = 25U * 3600 * 1000;  // longer than any direction; the service's death ends it

std::string g_busLine;  // the bus's last line about itself

void TakeBusLine(int, const char* line) {
    g_busLine = line;
    g_busLine.erase(g_busLine.find_last_not_of('\n') + 1);
}

void Complain(const std::string& text) {
    std::fprintf(stderr, "orvi-room: %s\n", text.c_str());
}

struct Answer {
    ExitCode code;
    std::string text;
};

// Text goes to standard output, what went wrong to standard error.
ExitCode Print(const Answer& answer) {
    if (answer.code != DONE) {
        Complain(answer.text);
    } else if (!answer.text.empty()) {
        std::printf("%s%s", answer.text.c_str(), answer.text.back() == '\n' ? "" : "\n");
        std::fflush(stdout);
    }
    return answer.code;
}

std::string Overview() {
    return "Makes the simulated conference room do anything, from any terminal.\n\n"
           "usage: orvi-room DIRECTION [WORD...]      orvi-room DIRECTION --help explains one\n\n"
           "  status                                    the clock, applications, features, faults\n"
           "  run FILE                                  the directions of a file, or of - for standard input\n"
           "  serve                                     for programs: after a line with $ORVI_BUS_DIR the directions "
           "of\n"
           "                                            standard input, each answered by a line with its exit code "
           "and\n"
           "                                            the bytes of the text that follows\n" +
           orvi_sim::ExplainAll() +
           "\n  --completion bash                         print the completion for this shell\n"
           "  --version                                 print the version\n\n"
           "A scenario is a file of directions with their times: orvi-vision-sim --scenario FILE plays it, --check "
           "tells "
           "what\n"
           "is wrong with it, and orvi-vision-sim --help how its lines are written.\n\n"
           "It needs a running orvi-vision-sim; ORVI_BUS_DIR names the bus directory of both.\n"
           "Exit code: 0, 1 = answered no, 2 = usage, 3 = nobody is there.\n";
}

Answer Join() {
    static bool isJoined = false;
    if (isJoined) {
        return {DONE, ""};
    }
    OsMsgRegLogFunc(TakeBusLine);
    OsMsgSetLogLevel(1);
    const std::string name = "room" + std::to_string(getpid());
    if (const int result = OsMsgInit(name.c_str()); result != 0) {
        return {NOBODY,
                "cannot join the bus: " + (g_busLine.empty() ? "it says " + std::to_string(result) : g_busLine)};
    }
    isJoined = true;
    return {DONE, ""};
}

Answer Send(const std::string& line) {
    if (Answer joined = Join(); joined.code != DONE) {
        return joined;
    }
    TagMsgBlock block{};
    std::strncpy(block.recvProcName, orvi_protocol::SERVICE_PROCESS, sizeof(block.recvProcName) - 1);
    std::strncpy(block.recvTaskName, TASK, sizeof(block.recvTaskName) - 1);
    block.msgId = LINE;
    block.dataLen = static_cast<uint32_t>(line.size());
    block.data = const_cast<char*>(line.data());  // the bus only reads what it sends
    TagMsgBlock* reply = nullptr;
    if (const int result = OsMsgSynSend(&block, &reply, WAIT_MS); result != 0) {
        if (result == ORVI_BUS_E_ARGUMENT) {
            return {USAGE, "this direction is too long: " + g_busLine};
        }
        return {NOBODY,
                result == ORVI_BUS_E_GONE
                    ? "the service has gone"
                    : "nobody is there: " + (g_busLine.empty() ? "the bus says " + std::to_string(result) : g_busLine)};
    }
    const std::string answer(static_cast<const char*>(reply->data), reply->data != nullptr ? reply->dataLen : 0);
    OsMsgSynRespFree(reply);
    const bool isDone = answer.compare(0, 2, "ok") == 0;
    const size_t begin = answer.find_first_not_of(" \n", isDone ? 2 : 5);
    return {isDone ? DONE : REFUSED, begin == std::string::npos ? "" : answer.substr(begin)};
}

// The service reads files from where it stands.
void MakePathsAbsolute(const Row& row, Words& words) {
    for (const orvi_sim::Parameter& option : row.options) {
        const std::string name = option.name;
        for (size_t i = 0; option.type == orvi_sim::Type::File && i + 1 < words.size(); ++i) {
            if (words[i] == name.substr(0, name.find(' '))) {
                words[i + 1] = std::filesystem::absolute(words[i + 1]).string();
            }
        }
    }
}

Answer Perform(Words words) {
    size_t count = 0;
    const Row* const row = orvi_sim::FindRow(words, count);
    if (row == nullptr) {
        std::string family;  // of "await --help"
        for (const Row* one :
             words.size() == 2 && words[1] == "--help" ? orvi_sim::RowsBehind(words[0]) : std::vector<const Row*>()) {
            family += orvi_sim::Explain(*one);
        }
        return family.empty() ? Answer{USAGE, orvi_sim::NoSuchDirection(words)} : Answer{DONE, family};
    }
    if (words.back() == "--help") {
        return {DONE, orvi_sim::Explain(*row)};
    }
    orvi_sim::Arguments arguments;
    if (const auto reason = orvi_sim::ReadArguments(*row, words, count, arguments)) {
        return {USAGE, *reason};
    }
    MakePathsAbsolute(*row, words);
    return Send(orvi_sim::JoinWords(words));
}

ExitCode Status() {
    for (const char* line : {"clock", "clients", "state", "faults"}) {
        Answer answer = Send(line);
        if (answer.code == DONE) {
            answer.text = std::string(line) + ": " + answer.text;
        }
        if (const ExitCode code = Print(answer); code != DONE) {
            return code;
        }
    }
    return DONE;
}

// One direction after another for a program; what comes back has the length that stands before it. The first line tells
// which bus this is.
ExitCode Serve() {
    const char* const bus = std::getenv("ORVI_BUS_DIR");
    std::printf("%s\n", bus != nullptr ? bus : "");
    std::fflush(stdout);
    for (std::string line; std::getline(std::cin, line);) {
        Words words;
        Answer answer{USAGE, "a quote has no end"};
        if (orvi_sim::SplitLine(line, words)) {
            answer = words.empty() ? Answer{USAGE, "a direction is missing"} : Perform(words);
        }
        std::printf("%d %zu\n", answer.code, answer.text.size());
        std::fwrite(answer.text.data(), 1, answer.text.size(), stdout);
        std::fflush(stdout);
    }
    return DONE;
}

// Stops at the first direction that is answered no.
ExitCode RunFile(const std::string& name) {
    std::ifstream file;
    if (name != "-") {
        file.open(name);
        if (!file) {
            Complain(name + " cannot be read");
            return USAGE;
        }
    }
    std::istream& input = name == "-" ? std::cin : file;
    size_t number = 0;
    for (std::string line; std::getline(input, line);) {
        ++number;
        Words words;
        const bool isWhole = orvi_sim::SplitLine(line, words);
        if (isWhole && (words.empty() || words[0][0] == '#')) {
            continue;
        }
        const ExitCode code = isWhole ? Print(Perform(words)) : USAGE;
        if (code != DONE) {
            Complain(name + ":" + std::to_string(number) + ": " + (isWhole ? "stopped here" : "a quote has no end"));
            return code;
        }
    }
    if (input.bad()) {  // as of a directory
        Complain(name + " cannot be read" + (number != 0 ? " behind line " + std::to_string(number) : ""));
        return USAGE;
    }
    return DONE;
}

ExitCode Run(Words words) {
    if (words.empty()) {
        Complain("a direction is missing, see orvi-room --help");
        return USAGE;
    }
    const std::string& first = words[0];
    if (first == "--help" || first == "-h" || (first == "help" && words.size() == 1)) {
        std::fputs(Overview().c_str(), stdout);
        return DONE;
    }
    if (first == "help" && words[1] != "--help") {
        words.erase(words.begin());
        words.emplace_back("--help");
        return Print(Perform(words));
    }
    if (first == "--version" && words.size() == 1) {
        std::puts("orvi-room " ORVI_VERSION);
        return DONE;
    }
    if (first == "--completion" && words.size() == 2 && words[1] == "bash") {
        std::fputs(BashCompletion().c_str(), stdout);
        return DONE;
    }
    if (first == "status" && words.size() == 1) {
        return Status();
    }
    if (first == "run" && words.size() == 2) {
        return RunFile(words[1]);
    }
    if (first == "serve" && words.size() == 1) {
        return Serve();
    }
    return Print(Perform(words));
}

}  // namespace
}  // namespace orvi_room

int main(int argc, char** argv) {
    orvi_tools::FillStandardStreams();
    try {
        const orvi_room::ExitCode code = orvi_room::Run(orvi_room::Words(argv + 1, argv + argc));
        if (const bool isPrinted = std::fflush(stdout) == 0 && std::ferror(stdout) == 0;
            code != orvi_room::DONE || isPrinted) {
            return code;
        }
        orvi_room::Complain("what was told cannot be written");
        return orvi_room::REFUSED;
    } catch (const std::exception& exception) {
        std::fprintf(stderr, "orvi-room: %s\n", exception.what());
        return orvi_room::REFUSED;
    }
}
