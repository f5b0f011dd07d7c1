// Where threads wait for each other. std::barrier would do, but that of mingw-w64's library now and then leaves a
// thread waiting that should have gone on.
#ifndef ZULSTATS_TESTS_SUPPORT_MEETING_POINT_H
#define ZULSTATS_TESTS_SUPPORT_MEETING_POINT_H

#include <condition_variable>
#include <mutex>

namespace test_support {

class MeetingPoint {
  public:
    explicit MeetingPoint(int threads) : threads_(threads) {}

    // Returns once that many threads have come; then it can be used again.
    void arriveAndWait() {
        std::unique_lock<std::mutex> lock(mutex_);
        const int meeting = meetings_;
        ++present_;
        if (present_ == threads_) {
            present_ = 0;
            ++meetings_;
            complete_.notify_all();
        } else {
            complete_.wait(lock, [this, meeting] { return meetings_ != meeting; });
        }
    }

  private:
    const int threads_;
    std::mutex mutex_;
    std::condition_variable complete_;
    int present_ = 0;
    int meetings_ = 0;
};

}  // namespace test_support

#endif
