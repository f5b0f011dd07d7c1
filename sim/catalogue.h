#ifndef ZULSTATS_SIM_CATALOGUE_H
#define ZULSTATS_SIM_CATALOGUE_H

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "decimal.h"

namespace gatewaysim {

struct ConstantText {
    std::string text;
};

// Moves in straight lines between chance points one period apart.
struct Wandering {
    double low;
    double high;
    double periodSeconds;
};

struct Counter {
    int64_t start;
    double perSecond;
    // How far the value is behind its straight line.
    std::optional<Wandering> lag;
};

struct Gauge {
    Wandering between;
    int decimals;
};

struct TimeText {
    enum class Shows { now, start };
    Shows shows;
};

// A number, or the statistic at an index of the catalogue.
using Operand = std::variant<Decimal, size_t>;

// Made of the values of other statistics as they are shown.
struct Sum {
    std::vector<Operand> plus;
    std::vector<Operand> minus;
    // The most of its operands.
    int decimals;
};

// How fast a statistic grows in a second.
struct Rate {
    size_t of;
    int decimals;
};

struct Percent {
    size_t part;
    std::vector<Operand> of;
    int decimals;
    // The most of the operands of the whole.
    int decimalsOfWhole;
};

using ValueKind = std::variant<ConstantText, Counter, Gauge, TimeText, Sum, Rate, Percent>;

struct Statistic {
    std::string id;
    size_t group;
    // Of the response about this statistic alone.
    int32_t code;
    ValueKind kind;
};

struct Group {
    std::string id;
    // Of the response about this group.
    int32_t code;
    std::vector<size_t> statistics;
};

inline constexpr size_t kDeepestReference = 32;

// What the simulated daemon knows. Groups and statistics keep the order of the file; no id stands twice among both.
// Statistics refer to each other without a circle, and never through more than kDeepestReference others.
struct Catalogue {
    std::string protocol;
    std::vector<Group> groups;
    std::vector<Statistic> statistics;
    std::map<std::string, size_t, std::less<>> groupById;
    std::map<std::string, size_t, std::less<>> statisticById;
};

class BadCatalogue : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// The texts of catalogue.json and unusual_catalogue.json as they stood when the program was built.
std::string everydayCatalogueText();
std::string unusualCatalogueText();

// Throws BadCatalogue.
std::string readCatalogueFile(const std::string& path);
// Throws BadCatalogue; the name is that of the text in its messages.
Catalogue parseCatalogue(std::string_view text, const std::string& name);

}  // namespace gatewaysim

#endif
