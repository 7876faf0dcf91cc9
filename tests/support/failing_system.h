// A system that fails: the n-th call of a kind, on the threads that a test has chosen, or in another process. A program
// that contains failing_system.cpp has its calls of the C library pass through it, whichever library makes them.
#ifndef ORVI_TEST_FAILING_SYSTEM_H
#define ORVI_TEST_FAILING_SYSTEM_H

#include <string>

namespace orvi_test {

// What fails: of the calls named `call` those that are counted as first, first + step, ... up to `last`, from 1, and how.
// A call that is not in failing_system.cpp never does.
struct Failure {
    const char* call;
    int error;
    int first = 1;
    int last = 1;
    int step = 1;
};

// Counts from now on, on all threads that are to suffer. Without failures again after Recover.
void FailAs(const Failure& failure);

// How many calls have failed since.
int Recover();

// Whether this thread's calls may fail; at first none does.
void Suffer(bool suffers);

// From here on failures are those of programs that have this path in their environment as ORVI_TEST_FAILING. The file is
// made.
void SufferElsewhere(const std::string& path);

// Makes this process such a program: all of its threads suffer from now on.
void SufferAsToldByEnvironment();

// For people.
std::string Describe(const Failure& failure);

}  // namespace orvi_test

#endif
