// What GoogleTest's assertions take of a room (see room.hpp):
//
//   EXPECT_THAT(room, orvi::test::IsAsked("caption.start").With("report", 1).Within(2s));   // with <gmock/gmock.h>
//   EXPECT_THAT(room, orvi::test::IsNotAsked("caption.stop"));
//   EXPECT_TRUE(orvi::test::Holds(room.expect("caption.start"), 2s));                       // without it
//
// A test that a Failure leaves is failed by GoogleTest with the words of the service.
#ifndef ORVI_TEST_ROOM_GTEST_HPP
#define ORVI_TEST_ROOM_GTEST_HPP

#include <chrono>
#include <gtest/gtest-matchers.h>
#include <gtest/gtest.h>
#include <optional>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "orvi/test/room.hpp"

namespace orvi::test {

// Without a time: by now.
inline testing::AssertionResult Holds(const Expectation& expectation,
                                      std::optional<std::chrono::milliseconds> time = std::nullopt) {
    const Answer answer = time ? expectation.answer(*time) : expectation.answer();
    return (answer ? testing::AssertionSuccess() : testing::AssertionFailure()) << answer.text;
}

// Whether a message was asked of the service, or is within a time.
class AskedMatcher {
 public:
    using is_gtest_matcher = void;

    AskedMatcher(std::string message, bool isWanted) : message_(std::move(message)), isWanted_(isWanted) {}

    template <class Value>
    AskedMatcher With(const std::string& field, const Value& value) const {
        AskedMatcher copy = *this;
        copy.fields_.emplace_back(field, detail::Text(value));
        return copy;
    }

    AskedMatcher Within(std::chrono::milliseconds time) const {
        AskedMatcher copy = *this;
        copy.time_ = time;
        return copy;
    }

    bool MatchAndExplain(const Room& room, testing::MatchResultListener* listener) const {
        Expectation expectation = isWanted_ ? room.expect(message_) : room.expect_no(message_);
        for (const auto& [field, value] : fields_) {
            expectation = expectation.with(field, value);
        }
        const Answer answer = time_ ? expectation.answer(*time_) : expectation.answer();
        *listener << answer.text;
        return static_cast<bool>(answer);
    }

    void DescribeTo(std::ostream* out) const { Describe(*out, isWanted_); }
    void DescribeNegationTo(std::ostream* out) const { Describe(*out, !isWanted_); }

 private:
    void Describe(std::ostream& out, bool isWanted) const {
        out << (isWanted ? "was asked " : "was not asked ") << message_;
        for (const auto& [field, value] : fields_) {
            out << " " << field << "=" << value;
        }
        if (time_) {
            out << " within " << time_->count() << " ms";
        }
    }

    std::string message_;
    bool isWanted_;
    std::vector<std::pair<std::string, std::string>> fields_;
    std::optional<std::chrono::milliseconds> time_;
};

inline AskedMatcher IsAsked(const std::string& message) {
    return {message, true};
}

inline AskedMatcher IsNotAsked(const std::string& message) {
    return {message, false};
}

// For EXPECT_THAT, which prints what did not match.
inline void PrintTo(const Room&, std::ostream* out) {
    *out << "the room";
}

}  // namespace orvi::test

#endif
