// The commands of orvi-bus. Each does its work with what main.cpp has read from the command line, and returns the
// program's exit code; what it cannot do it says on standard error.
#ifndef ORVI_BUS_TOOL_COMMANDS_H
#define ORVI_BUS_TOOL_COMMANDS_H

#include <string>
#include <vector>

#include "show.h"
#include "watch.h"

namespace orvi_bus_tool {

struct MonitorOptions {
    Filter filter;
    Display display;
    Limits limits;
};
int Monitor(const MonitorOptions& options);

struct TopOptions {
    Filter filter;
    Limits limits;
};
int Top(const TopOptions& options);

struct CaptureOptions {
    std::string file;
    Filter filter;  // by what is known of a record alone: names
    Limits limits;
    bool payloads = false;
    bool reveal = false;  // private contents as they are
    std::string command;  // of a shell, which is captured until it ends; empty: until Ctrl-C
};
int Capture(const CaptureOptions& options);

struct PrintOptions {
    std::string file;
    Filter filter;
    Display display;
};
int Print(const PrintOptions& options);

int PrintDissector();

struct TimelineOptions {
    std::string file;
    std::string from;  // a captured file; empty: what happens now
    Limits limits;
};
int Timeline(const TimelineOptions& options);

struct ViewOptions {
    std::string file;
    std::string page;
    bool reveal = false;  // private contents as they are
};
int View(const ViewOptions& options);

struct ReplayOptions {
    std::string file;
    std::string side;         // "service" or "application": what is played
    std::string application;  // whose session; empty: the only one's
    double speed = 1;         // 0: without pauses
    double patienceMs = 10000;
    std::vector<std::string> allowed;  // fields that may differ
    bool exitAtEnd = false;            // of the service's side; else it ends with the application
    Limits limits;
    Display display;
};
int Replay(const ReplayOptions& options);

struct ListOptions {
    bool json = false;
    bool all = false;  // those that have ended, too
};
int List(const ListOptions& options);

struct DoctorOptions {
    bool json = false;
};
int Examine(const DoctorOptions& options);

}  // namespace orvi_bus_tool

#endif
