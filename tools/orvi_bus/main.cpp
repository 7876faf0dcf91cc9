// orvi-bus: sees the workstation's message bus: its traffic, who is on it, and what is wrong with it.
#include <cstdio>
#include <exception>

#include "commands.h"
#include "standard_streams.h"

namespace orvi_bus_tool {

int Fail(const std::string& what) {
    std::fprintf(stderr, "orvi-bus: %s\n", what.c_str());
    return FAILED;
}

}  // namespace orvi_bus_tool

int main(int argc, char** argv) {
    using namespace orvi_bus_tool;
    orvi_tools::FillStandardStreams();
    int result = DONE;
    CLI::App app("Shows the workstation's message bus: its traffic, who is on it, and what is wrong with it.");
    app.name("orvi-bus");
    app.set_version_flag("--version", "orvi-bus " ORVI_VERSION, "print the version");
    app.require_subcommand(1);
    app.footer(
        "The bus is the one that ORVI_BUS_DIR names, or the user's own. Ctrl-C ends what goes on.\n"
        "Exit code: 0, 1 = it failed or found something, 2 = usage.");
    AddMonitor(app, result);
    AddTop(app, result);
    AddCapture(app, result);
    AddPrint(app, result);
    AddDissector(app, result);
    AddTimeline(app, result);
    AddList(app, result);
    AddDoctor(app, result);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() == 0) {
            return app.exit(error);
        }
        std::fprintf(stderr, "orvi-bus: %s\n", error.what());
        return USAGE;
    } catch (const std::exception& error) {
        return Fail(error.what());
    }
    return result;
}
