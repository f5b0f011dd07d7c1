#ifndef ZULSTATS_TOOLS_ZULSTAT_EVENT_QUEUE_H
#define ZULSTATS_TOOLS_ZULSTAT_EVENT_QUEUE_H

#include <chrono>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <optional>
#include <utility>

namespace zulstat {

// Events of many threads for one.
template <class Event>
class EventQueue {
  public:
    void post(Event event) {
        const std::lock_guard lock(mutex_);
        events_.push_back(std::move(event));
        changed_.notify_one();
    }

    // Nothing when none came until then.
    std::optional<Event> waitUntil(const std::chrono::steady_clock::time_point time) {
        std::unique_lock lock(mutex_);
        if (!changed_.wait_until(lock, time, [this] { return !events_.empty(); })) {
            return std::nullopt;
        }
        std::optional<Event> event = std::move(events_.front());
        events_.pop_front();
        return event;
    }

  private:
    std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<Event> events_;
};

}  // namespace zulstat

#endif
