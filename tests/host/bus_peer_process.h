// What the process of the bus tests does to itself and to children of its own, beside what it does on the bus.
#ifndef ORVI_TESTS_HOST_BUS_PEER_PROCESS_H
#define ORVI_TESTS_HOST_BUS_PEER_PROCESS_H

#include <cstdint>
#include <cstdlib>
#include <map>
#include <string>
#include <vector>

// A command and what follows it; those that are left out are empty.
using Words = std::vector<std::string>;
using Commands = std::map<std::string, std::string (*)(const Words&)>;

inline uint32_t Number(const std::string& word) {
    return static_cast<uint32_t>(strtoul(word.c_str(), nullptr, 10));
}

// One line of a descriptor's input, without its end: std::getline takes an interrupted read for the end. False at the end.
bool ReadLine(int descriptor, std::string* line);

extern const Commands& kProcessCommands;

#endif
