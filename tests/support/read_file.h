#ifndef ORVI_TEST_READ_FILE_H
#define ORVI_TEST_READ_FILE_H

#include <fstream>
#include <sstream>
#include <string>

namespace orvi_test {

// The whole of a file; nothing when there is none.
inline std::string ReadFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::ostringstream content;
    content << file.rdbuf();
    return content.str();
}

}  // namespace orvi_test

#endif
