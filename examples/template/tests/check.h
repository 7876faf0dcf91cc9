// What these tests need of a framework; take yours in its place.
#ifndef CHECK_H
#define CHECK_H

#include <stdexcept>
#include <string>

#define CHECK_TEXT(line) #line
#define CHECK_LINE(line) CHECK_TEXT(line)
#define CHECK(condition) \
    ((condition) ? (void)0 : throw std::runtime_error(__FILE__ ":" CHECK_LINE(__LINE__) ": " #condition " is not so"))

#endif
