#include "view/http.h"

#include <websocketpp/http/request.hpp>

namespace orvi_sim {
namespace {

const char* Reason(int status) {
    switch (status) {
        case 200:
            return "OK";
        case 400:
            return "Bad Request";
        case 403:
            return "Forbidden";
        case 404:
            return "Not Found";
        case 405:
            return "Method Not Allowed";
        default:
            return "Service Unavailable";
    }
}

// The page loads nothing from elsewhere, stands in no frame of another, and is kept nowhere.
constexpr char FIELDS[] =
    "Content-Security-Policy: default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self'; "
    "connect-src 'self'; base-uri 'none'; form-action 'none'; frame-ancestors 'none'\r\n"
    "X-Content-Type-Options: nosniff\r\n"
    "Referrer-Policy: no-referrer\r\n"
    "Cache-Control: no-store\r\n"
    "Connection: close\r\n";

int Digit(char c) {
    return c >= '0' && c <= '9'   ? c - '0'
           : c >= 'a' && c <= 'f' ? c - 'a' + 10
           : c >= 'A' && c <= 'F' ? c - 'A' + 10
                                  : -1;
}

}  // namespace

struct HttpReader::Parser {
    websocketpp::http::parser::request request;
};

HttpReader::HttpReader() : parser_(std::make_unique<Parser>()) {
    parser_->request.set_max_body_size(LONGEST_BODY);
}

HttpReader::~HttpReader() = default;

HttpReader::State HttpReader::Read(const char* bytes, size_t size) {
    try {
        (void)parser_->request.consume(bytes, size);
    } catch (const std::exception&) {
        return State::Wrong;
    }
    return parser_->request.ready() ? State::Whole : State::More;
}

HttpRequest HttpReader::Take() const {
    const auto& request = parser_->request;
    const std::string& uri = request.get_uri();
    const size_t mark = uri.find('?');
    return {
        request.get_method(),       uri.substr(0, mark),          mark == std::string::npos ? "" : uri.substr(mark + 1),
        request.get_header("Host"), request.get_header("Origin"), request.get_body()};
}

bool Unescape(std::string_view text, std::string& plain) {
    plain.clear();
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '%') {
            plain += text[i] == '+' ? ' ' : text[i];
            continue;
        }
        if (i + 2 >= text.size() || Digit(text[i + 1]) < 0 || Digit(text[i + 2]) < 0) {
            return false;
        }
        plain += static_cast<char>(Digit(text[i + 1]) * 16 + Digit(text[i + 2]));
        i += 2;
    }
    return true;
}

std::string HttpResponse(int status, const char* type, std::string_view body) {
    return "HTTP/1.1 " + std::to_string(status) + " " + Reason(status) + "\r\nContent-Type: " + type +
           "\r\nContent-Length: " + std::to_string(body.size()) + "\r\n" + FIELDS + "\r\n" + std::string(body);
}

std::string EventStreamHead() {
    return std::string("HTTP/1.1 200 OK\r\nContent-Type: text/event-stream\r\n") + FIELDS + "\r\n";
}

}  // namespace orvi_sim
