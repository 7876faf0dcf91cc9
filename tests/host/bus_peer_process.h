// What the process of the bus tests does to itself and to children of its own, beside what it does on the bus.
#ifndef ORVI_TESTS_HOST_BUS_PEER_PROCESS_H
#define ORVI_TESTS_HOST_BUS_PEER_PROCESS_H

#include <sstream>
#include <string>

// One line of a descriptor's input, without its end: std::getline takes an interrupted read for the end. False at the end.
bool ReadLine(int descriptor, std::string* line);

// Carries a command out. False when it is none of these; else `answer` is set.
bool DoProcessCommand(const std::string& command, std::istringstream& words, std::string* answer);

#endif
