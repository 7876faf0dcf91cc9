// The commands of orvi-bus. Each adds itself to the command line and does its work when it was chosen.
#ifndef ORVI_BUS_TOOL_COMMANDS_H
#define ORVI_BUS_TOOL_COMMANDS_H

#include <CLI/CLI.hpp>
#include <string>

namespace orvi_bus_tool {

enum ExitCode : int { DONE = 0, FAILED = 1, USAGE = 2 };

// They leave the exit code in `result`, which outlives the command line.
void AddMonitor(CLI::App& app, int& result);
void AddTop(CLI::App& app, int& result);
void AddCapture(CLI::App& app, int& result);
void AddPrint(CLI::App& app, int& result);
void AddDissector(CLI::App& app, int& result);
void AddTimeline(CLI::App& app, int& result);
void AddList(CLI::App& app, int& result);
void AddDoctor(CLI::App& app, int& result);

int Fail(const std::string& what);  // FAILED, after a line

}  // namespace orvi_bus_tool

#endif
