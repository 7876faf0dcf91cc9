// Each case runs on a destination of 8 bytes filled with 'x' and compares the whole of it afterwards, so that a byte
// too few or too many, or one left over after a failure, shows.
#include <cstdint>
#include <cstring>
#include <gtest/gtest.h>
#include <string>

#include "orvi_securec.h"

namespace {

using std::string;

constexpr size_t kSize = 8;
const string kCleared(kSize, '\0');
const string kUntouched(kSize, 'x');

// Destination of 8 bytes with a guard behind it.
struct Room {
    char bytes[kSize + 4];
    Room() { std::memset(bytes, 'x', sizeof(bytes)); }
    string Contents() const { return {bytes, kSize}; }
    bool GuardHolds() const { return string(bytes + kSize, 4) == "xxxx"; }
};

string Text(const char* text) {
    string all = kUntouched;
    std::memcpy(all.data(), text, std::strlen(text) + 1);
    return all;
}

struct Copy {
    const char* what;
    size_t size;
    const char* source;
    size_t count;
    bool good;
    string expected;
};

template <size_t Count, typename Call>
void Check(const Copy (&cases)[Count], Call call) {
    for (const Copy& c : cases) {
        Room room;
        EXPECT_EQ(call(room.bytes, c) == 0, c.good) << c.what;
        EXPECT_EQ(room.Contents(), c.expected) << c.what;
        EXPECT_TRUE(room.GuardHolds()) << c.what;
    }
}

TEST(Securec, MemoryCopies) {
    const Copy cases[] = {
        {"fits", 8, "abc", 3, true, "abcxxxxx"},
        {"fills the destination", 8, "abcdefgh", 8, true, "abcdefgh"},
        {"one too many", 8, "abcdefghi", 9, false, kCleared},
        {"nothing", 8, "abc", 0, true, kUntouched},
        {"nothing from a null source", 8, nullptr, 0, false, kCleared},
        {"a null source", 8, nullptr, 3, false, kCleared},
        {"a destination of 0 bytes", 0, "abc", 3, false, kUntouched},
        {"a destination of 0 bytes, nothing to copy", 0, "abc", 0, false, kUntouched},
        {"a negative size", static_cast<size_t>(-1), "abc", 3, false, kUntouched},
        {"a count that wraps", 8, "abc", SIZE_MAX, false, kCleared},
    };
    Check(cases, [](char* to, const Copy& c) { return memcpy_s(to, c.size, c.source, c.count); });
    EXPECT_NE(memcpy_s(nullptr, 8, "abc", 3), 0);
}

TEST(Securec, MemoryFills) {
    const Copy cases[] = {
        {"part", 8, "", 3, true, "zzzxxxxx"},        {"all", 8, "", 8, true, "zzzzzzzz"},
        {"one too many", 8, "", 9, false, kCleared}, {"nothing", 8, "", 0, true, kUntouched},
        {"no room", 0, "", 1, false, kUntouched},    {"a negative size", SIZE_MAX, "", 1, false, kUntouched},
    };
    Check(cases, [](char* to, const Copy& c) { return memset_s(to, c.size, 'z', c.count); });
    EXPECT_NE(memset_s(nullptr, 8, 0, 8), 0);
}

TEST(Securec, StringCopies) {
    const Copy cases[] = {
        {"fits", 8, "abc", 0, true, Text("abc")},
        {"fills the destination", 8, "abcdefg", 0, true, Text("abcdefg")},
        {"no room for the NUL", 8, "abcdefgh", 0, false, kCleared},
        {"far too long", 8, "abcdefghijklmnopqrstuvwxyz", 0, false, kCleared},
        {"empty", 8, "", 0, true, Text("")},
        {"empty into one byte", 1, "", 0, true, Text("")},
        {"a null source", 8, nullptr, 0, false, kCleared},
        {"no room", 0, "", 0, false, kUntouched},
        {"a negative size", SIZE_MAX, "abc", 0, false, kUntouched},
    };
    Check(cases, [](char* to, const Copy& c) { return strcpy_s(to, c.size, c.source); });
    EXPECT_NE(strcpy_s(nullptr, 8, "abc"), 0);
}

TEST(Securec, BoundedStringCopies) {
    const char unterminated[4] = {'a', 'b', 'c', 'd'};
    const Copy cases[] = {
        {"the string is shorter", 8, "abc", 7, true, Text("abc")},
        {"the count is shorter", 8, "abcdefghij", 7, true, Text("abcdefg")},
        {"the count reads no further than it says", 8, unterminated, 4, true, Text("abcd")},
        {"a count above the size, and a short string", 8, "abc", 100, true, Text("abc")},
        {"the count leaves no room for the NUL", 8, "abcdefghij", 8, false, kCleared},
        {"nothing", 8, "abc", 0, true, Text("")},
        {"a null source", 8, nullptr, 0, false, kCleared},
        {"a negative count", 8, "abc", SIZE_MAX, false, kCleared},
        {"no room", 0, "abc", 3, false, kUntouched},
    };
    Check(cases, [](char* to, const Copy& c) { return strncpy_s(to, c.size, c.source, c.count); });
}

TEST(Securec, Formats) {
    const struct {
        const char* what;
        size_t size;
        size_t count;
        const char* text;
        int result;
        string expected;
    } cases[] = {
        {"fits", 8, 7, "abc", 3, Text("abc")},
        {"as long as the count", 8, 3, "abc", 3, Text("abc")},
        {"longer than the count", 8, 2, "abc", -1, kCleared},
        {"fills the destination", 8, 7, "abcdefg", 7, Text("abcdefg")},
        {"no room for the NUL", 8, 8, "abcdefgh", -1, kCleared},
        {"a count above the size does not cut", 8, 100, "abcdefghij", -1, kCleared},
        {"empty with count 0", 8, 0, "", 0, Text("")},
        {"no room", 0, 0, "", -1, kUntouched},
    };
    for (const auto& c : cases) {
        Room room;
        EXPECT_EQ(snprintf_s(room.bytes, c.size, c.count, "%s", c.text), c.result) << c.what;
        const size_t compared = c.result >= 0 ? static_cast<size_t>(c.result) + 1 : kSize;
        EXPECT_EQ(room.Contents().substr(0, compared), c.expected.substr(0, compared)) << c.what;
        EXPECT_TRUE(room.GuardHolds()) << c.what;
    }
    Room room;
    EXPECT_EQ(snprintf_s(room.bytes, kSize, kSize - 1, "ab%ls", L"\x7fff"), -1);
    EXPECT_EQ(room.Contents(), kCleared) << "a character that the locale does not have";
}

// Overlapping ranges are refused, whichever comes first; ranges that only touch are not.
TEST(Securec, Overlaps) {
    const struct {
        size_t from;
        size_t to;
        bool good;
    } cases[] = {{0, 0, false}, {0, 3, false}, {3, 0, false}, {0, 4, true}, {4, 0, true}};
    for (const auto& c : cases) {
        char buffers[3][12] = {};
        for (char* const buffer : buffers) {
            std::memcpy(buffer + c.from, "abc", 4);
        }
        const int results[3] = {memcpy_s(buffers[0] + c.to, 4, buffers[0] + c.from, 4),
                                strcpy_s(buffers[1] + c.to, 4, buffers[1] + c.from),
                                strncpy_s(buffers[2] + c.to, 4, buffers[2] + c.from, 3)};
        for (int i = 0; i < 3; ++i) {
            EXPECT_EQ(results[i] == 0, c.good) << i << ": " << c.from << " to " << c.to;
            EXPECT_STREQ(buffers[i] + c.to, c.good ? "abc" : "") << i << ": " << c.from << " to " << c.to;
        }
    }
}

}  // namespace
