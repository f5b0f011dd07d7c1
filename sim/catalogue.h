#ifndef ZULSTATS_SIM_CATALOGUE_H
#define ZULSTATS_SIM_CATALOGUE_H

#include <cstddef>
#include <cstdint>
#include <map>
#include <stdexcept>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace gatewaysim {

struct ConstantText {
    std::string text;
};

struct Counter {
    int64_t start;
    double perSecond;
};

struct Gauge {
    double low;
    double high;
    double periodSeconds;
    int decimals;
};

struct TimeText {
    enum class Shows { now, start };
    Shows shows;
};

using ValueKind = std::variant<ConstantText, Counter, Gauge, TimeText>;

struct Statistic {
    std::string id;
    size_t group;
    ValueKind kind;
};

struct Group {
    std::string id;
    std::vector<size_t> statistics;
};

// What the simulated daemon knows. Groups and statistics keep the order of the file; no id stands twice among both.
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

// The text of catalogue.json as it stood when the program was built.
std::string builtInCatalogueText();

// Throws BadCatalogue.
std::string readCatalogueFile(const std::string& path);
// Throws BadCatalogue; the name is that of the text in its messages.
Catalogue parseCatalogue(std::string_view text, const std::string& name);

}  // namespace gatewaysim

#endif
