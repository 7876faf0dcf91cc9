// Where log lines go: the file that ORVI_LOG_FILE names, else standard error.
#ifndef ORVI_HOST_LOG_SINK_H
#define ORVI_HOST_LOG_SINK_H

#include <cstddef>
#include <cstdint>

// Reads where lines go, once. A process asks for it with its first record, which is one of the thread that sets the library
// up: a thread of the library that reads the environment later reads beside an application that changes it.
void SinkReadEnvironment();

// Writes one finished line (newline included) in one piece. A line that the sink refuses is counted; the count is
// written before the next line that it takes. Takes no lock after the first call. errno is the caller's to keep.
void SinkWrite(const char* line, size_t length);

// Counts one storm record that is left out; it is told of with the next line, or when the process ends.
void SinkCountStorm();

// Writes what is still to be told.
void SinkTellGaps();

// One line on standard error about the log's own settings, where no other place can be trusted.
void ComplainToStderr(const char* format, ...) __attribute__((format(printf, 1, 2)));

#endif
