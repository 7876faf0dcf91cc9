// A local copy of a text field of an application's record, which may lack its NUL: fit to be logged, whatever the
// record holds.
#ifndef ORVI_PROXY_BOUNDED_TEXT_H
#define ORVI_PROXY_BOUNDED_TEXT_H

#include <cstddef>
#include <cstring>

namespace OrviAiService {

template <size_t N>
class BoundedText {
 public:
    explicit BoundedText(const char (&field)[N]) : length_(strnlen(field, N)) {
        std::memcpy(text_, field, length_);
        text_[length_] = '\0';
    }

    const char* Text() const { return text_; }
    size_t Length() const { return length_; }
    bool IsTerminated() const { return length_ < N; }  // the field itself holds a NUL

 private:
    size_t length_;
    char text_[N + 1];
};

}  // namespace OrviAiService

#endif
