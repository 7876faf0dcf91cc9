// What a process says of its fault points when it is asked for one that it has not.
#ifndef ORVI_TEST_FAULT_POINTS_H
#define ORVI_TEST_FAULT_POINTS_H

#include <regex>
#include <set>
#include <sstream>
#include <string>

namespace orvi_test {

// "POINT ACTION" of each that is possible there.
inline std::set<std::string> PossibleFaults(const std::string& log) {
    static const std::regex row(" ([a-z.]+):(( (kill|stop|delay|drop|truncate|corrupt))+)$");
    std::set<std::string> possible;
    std::istringstream lines(log);
    std::smatch found;
    for (std::string line; std::getline(lines, line);) {
        if (!std::regex_search(line, found, row)) {
            continue;
        }
        std::istringstream actions(found[2]);
        for (std::string action; actions >> action;) {
            possible.insert(found[1].str() + ' ' + action);
        }
    }
    return possible;
}

}  // namespace orvi_test

#endif
