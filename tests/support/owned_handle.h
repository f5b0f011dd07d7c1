// A handle of the system that is closed at the end of its owner's life.
#ifndef ZULSTATS_TESTS_SUPPORT_OWNED_HANDLE_H
#define ZULSTATS_TESTS_SUPPORT_OWNED_HANDLE_H

#include <utility>

namespace test_support {

// Kind gives the type Value, the value none() that is no handle, and close(Value).
template <typename Kind>
class OwnedHandle {
  public:
    using Value = typename Kind::Value;

    OwnedHandle() = default;
    explicit OwnedHandle(Value value) : value_(value) {}
    OwnedHandle(OwnedHandle&& other) noexcept : value_(std::exchange(other.value_, Kind::none())) {}
    OwnedHandle& operator=(OwnedHandle&& other) noexcept {
        std::swap(value_, other.value_);
        return *this;
    }
    OwnedHandle(const OwnedHandle&) = delete;
    OwnedHandle& operator=(const OwnedHandle&) = delete;
    ~OwnedHandle() {
        close();
    }

    Value get() const {
        return value_;
    }
    bool isOpen() const {
        return value_ != Kind::none();
    }
    void close() {
        if (isOpen()) {
            Kind::close(std::exchange(value_, Kind::none()));
        }
    }

  private:
    Value value_ = Kind::none();
};

}  // namespace test_support

#endif
