#ifndef ZULSTATS_SIM_DECIMAL_H
#define ZULSTATS_SIM_DECIMAL_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace gatewaysim {

inline constexpr int kMostDecimals = 6;
// The sum of magnitudes up to which additions are exact, with some room below what 64 bits hold.
inline constexpr int64_t kLargestExact = 9'000'000'000'000'000'000;

// A number with up to six decimals, exact: what a reader adds up from values as they are shown agrees to the last
// digit. Whoever adds sees to it that the magnitudes do not add up to more than kLargestExact.
class Decimal {
  public:
    Decimal() = default;

    // Digits with an optional "-" before them and an optional fraction; nothing else is a number,
    // and no number what 64 bits do not hold.
    static std::optional<Decimal> parse(std::string_view text);

    Decimal operator+(const Decimal& other) const;
    Decimal operator-() const;

    // With exactly so many decimals, the further ones cut off.
    std::string text(int decimals) const;
    double approximately() const;

  private:
    Decimal(int64_t whole, int32_t millionths) : whole_(whole), millionths_(millionths) {}

    // The number is the sum of both, and the fraction never negative.
    int64_t whole_ = 0;
    int32_t millionths_ = 0;
};

// How many digits stand behind the point of a number's text.
int decimalsOf(std::string_view text);

}  // namespace gatewaysim

#endif
