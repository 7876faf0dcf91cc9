// orvi-ai: calls every function of the library from a terminal. Its commands are rows in commands.cpp, their options the
// fields of protocol/'s messages.
#include <cstdio>
#include <exception>

#include "command_line.h"
#include "interrupt.h"
#include "library_log.h"
#include "session.h"

int main(int argc, char** argv) {
    using namespace orvi_ai;
    try {
        Globals globals;
        Call call;
        const Parsed parsed = ParseWords(std::vector<std::string>(argv + 1, argv + argc), &globals, call);
        if (!parsed.isCall) {
            std::fputs((parsed.exitCode == 0 ? parsed.text : "orvi-ai: " + parsed.text + "\n").c_str(),
                       parsed.exitCode == 0 ? stdout : stderr);
            return parsed.exitCode;
        }
        static Output& output = *new Output;  // never destroyed: the library's thread prints to the end
        output.isJson = globals.isJson;
        output.isQuiet = globals.isQuiet;
        output.isMasked = globals.isMasked;
        output.ChooseColour();
        CatchLibraryLog();
        CatchInterrupts();
        Session session(output, globals.app);
        const ExitCode code = session.Run(call);
        session.Leave();
        StopHurrying();
        return code == DONE && output.IsClosed() ? FAILED : code;
    } catch (const std::exception& exception) {
        std::fprintf(stderr, "orvi-ai: %s\n", exception.what());
        return orvi_ai::FAILED;
    }
}
