// Text of log lines: what may stand in one.
#ifndef ORVI_HOST_LOG_TEXT_H
#define ORVI_HOST_LOG_TEXT_H

#include <cstddef>

// Writes `text` as one line with its newline into `line` (`size` bytes, no NUL, at least 16) and returns the line's
// length. Control characters and bytes that are no UTF-8 appear as escapes; what does not fit is cut at a character's
// border and marked. A newline that ends `text` is dropped.
size_t MakeLine(char* line, size_t size, const char* text, size_t length);

#endif
