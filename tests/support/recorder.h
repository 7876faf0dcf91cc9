// Lets a test wait for what a callback, on another thread, has received; in its order.
#ifndef ORVI_TEST_RECORDER_H
#define ORVI_TEST_RECORDER_H

#include <condition_variable>
#include <deque>
#include <gtest/gtest.h>
#include <mutex>
#include <utility>

#include "child_process.h"

namespace orvi_test {

// Where a test keeps one for a callback, it is never destroyed: the callback may run while the process ends.
template <class Record>
class Recorder {
 public:
    void Add(Record record) {
        const std::lock_guard<std::mutex> lock(mutex_);
        records_.push_back(std::move(record));
        arrived_.notify_all();
    }

    // The next one not taken yet. Fails the test and returns an empty one when none comes in PATIENCE.
    Record Next() {
        std::unique_lock<std::mutex> lock(mutex_);
        if (!arrived_.wait_for(lock, PATIENCE, [this] { return !records_.empty(); })) {
            ADD_FAILURE() << "nothing came";
            return Record();
        }
        Record record = std::move(records_.front());
        records_.pop_front();
        return record;
    }

    // Forgets what has not been taken; how many there were.
    size_t Clear() {
        const std::lock_guard<std::mutex> lock(mutex_);
        const size_t count = records_.size();
        records_.clear();
        return count;
    }

 private:
    std::mutex mutex_;  // guards what follows
    std::condition_variable arrived_;
    std::deque<Record> records_;
};

}  // namespace orvi_test

#endif
