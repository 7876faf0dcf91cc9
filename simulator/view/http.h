// As much of HTTP/1.1 as one page needs: a request that is read piece by piece, a response in one piece or a stream.
#ifndef ORVI_SIM_VIEW_HTTP_H
#define ORVI_SIM_VIEW_HTTP_H

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

namespace orvi_sim {

struct HttpRequest {
    std::string method;
    std::string path;    // as it came, up to '?'
    std::string query;   // behind it
    std::string host;    // the field Host
    std::string origin;  // the field Origin; empty without one
    std::string body;
};

// A header of at most 16 KiB and a body of at most LONGEST_BODY; what is longer, or no HTTP, is refused.
class HttpReader {
 public:
    static constexpr size_t LONGEST_BODY = 64U << 10;

    HttpReader();
    ~HttpReader();

    enum class State { More, Whole, Wrong };
    // More bytes of one request; behind its end nothing is read.
    State Read(const char* bytes, size_t size);
    HttpRequest Take() const;  // when it is whole

 private:
    struct Parser;
    std::unique_ptr<Parser> parser_;
};

// "%20" and '+' as what they stand for; false when there is no such character.
bool Unescape(std::string_view text, std::string& plain);

// Of a whole response: with what keeps a page from being anything but this one.
std::string HttpResponse(int status, const char* type, std::string_view body);

// Of an endless one of server-sent events, which follow.
std::string EventStreamHead();

}  // namespace orvi_sim

#endif
