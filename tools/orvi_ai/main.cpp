// orvi-ai: calls every function of the library from a terminal. Its commands are rows in commands.cpp, their options the
// fields of protocol/'s messages.
#include <cstdio>
#include <exception>

#include "command_line.h"
#include "interrupt.h"
#include "library_log.h"
#include "session.h"
#include "standard_streams.h"

int main(int argc, char** argv) {
    using namespace orvi_ai;
    orvi_tools::FillStandardStreams();
    try {
        Globals globals;
        Call call;
        static Output& output = *new Output;  // never destroyed: the library's thread prints to the end
        const Parsed parsed = ParseWords(std::vector<std::string>(argv + 1, argv + argc), &globals, call);
        output.isJson = globals.isJson;
        if (!parsed.isCall) {
            if (parsed.exitCode != 0) {
                output.Error(parsed.text);
                return parsed.exitCode;
            }
            std::fputs(parsed.text.c_str(), stdout);
            return std::fflush(stdout) == 0 ? DONE : FAILED;
        }
        output.isQuiet = globals.isQuiet;
        output.isMasked = globals.isMasked;
        output.ChooseColour();
        CatchLibraryLog();
        CatchInterrupts();
        Session session(output, globals.app);
        const ExitCode code = session.Run(call);
        session.Leave();
        StopHurrying();
        const bool isPrinted = std::fflush(stdout) == 0 && !output.IsClosed();
        return code == DONE && !isPrinted ? FAILED : code;
    } catch (const std::exception& exception) {
        std::fprintf(stderr, "orvi-ai: %s\n", exception.what());
        return orvi_ai::FAILED;
    }
}
