// The requests of the library as a table: what each puts on the bus, what it logs, what makes its answer a success.
#ifndef ORVI_TESTS_REQUESTS_H
#define ORVI_TESTS_REQUESTS_H

#include <cstdint>
#include <vector>

// How a request travels, and the lines that its sender logs, separated by '\n'. In the texts {id} stands for the
// message in hexadecimal, {number} for the same in decimal, {length} for the bytes of the payload, {task} and {wait} for the channel's, {field} for one of
// the receiver's two names, {name} for the request's.
struct Channel {
    const char* task;
    int waitMs;  // ONE_WAY: there is no reply
    const char* before;
    const char* success;
    const char* failure;  // of a send whose result is -8
    const char* noReply;  // an answer without data, too, unless the channel takes it
    const char* unnamed;  // a name of the receiver cannot be copied
    bool takesNoData = false;
    const char* refused = "free reply";  // after the request's own line about an answer that it refuses
    const char* notSent = "";            // after each failure to get an answer
    const char* sender = "";
    const char* what = "";
};
constexpr int ONE_WAY = -1;

// What the answer must be, if not a number of bytes at most.
constexpr int VERDICT = -1;  // its first byte is 0
constexpr int ANY = -2;

struct Request {
    const char* name;  // of the exported function; of the proxy's method where there is none
    int (*call)();     // with arguments that are accepted
    const Channel& channel;
    uint32_t id;
    uint32_t length;  // of the payload
    int copies;       // bounded copies before the receiver's names
    int answer;       // VERDICT, ANY or the most bytes that it may have
    const char* begin;
    const char* end;                    // after a success
    const char* notSent;                // after the sender's own line
    const char* refused;                // an answer that is no success
    const char* failed;                 // the last line of each failure
    std::vector<uint8_t> payload = {};  // where another test does not compare it
};

extern const std::vector<Request>& REQUESTS;

#endif
