#include "catalogue.h"

#include <algorithm>
#include <cmath>
#include <fstream>
#include <initializer_list>
#include <limits>
#include <nlohmann/json.hpp>
#include <optional>
#include <set>

#include "bytes.h"
#include "derivation.h"
#include "log.h"

namespace gatewaysim {

namespace {

using Json = nlohmann::json;

constexpr size_t kLongestFile = 16U << 20;
constexpr size_t kLongestText = 65535;
constexpr size_t kLongestValue = 32767;
// A statistic's id stands in one block with two lengths; the block's length is read as a signed 16-bit number.
constexpr size_t kLongestStatisticId = 32767 - 4;
constexpr double kLargestNumber = 1e15;
constexpr size_t kMostOperands = 1000;

// Names the first field that stands twice in one object: the parser itself silently keeps the last.
class DuplicateFieldFinder {
  public:
    bool operator()(int depth, Json::parse_event_t event, Json& value) {
        constexpr int kElementsOfAnArray = 2;
        const bool isBegun = event == Json::parse_event_t::object_start || event == Json::parse_event_t::array_start ||
                             event == Json::parse_event_t::value;
        elementsInField_ += isBegun && depth == kElementsOfAnArray ? 1 : 0;
        if (event == Json::parse_event_t::object_start) {
            fieldsOfOpenObjects_.emplace_back();
        } else if (event == Json::parse_event_t::object_end) {
            fieldsOfOpenObjects_.pop_back();
        } else if (event == Json::parse_event_t::key) {
            note(value.get<std::string>());
        }
        return true;
    }

    const std::optional<std::string>& found() const {
        return found_;
    }

  private:
    void note(const std::string& field) {
        const bool isNew = fieldsOfOpenObjects_.back().insert(field).second;
        if (!isNew && !found_.has_value()) {
            found_ = place() + ": field " + inQuotes(field) + " stands twice";
        }
        if (fieldsOfOpenObjects_.size() == 1) {
            fieldOfCatalogue_ = field;
            elementsInField_ = 0;
        }
    }

    std::string place() const {
        if (fieldsOfOpenObjects_.size() == 1) {
            return "the catalogue";
        }
        return onOneLine(fieldOfCatalogue_) + "[" + std::to_string(elementsInField_ - 1) + "]";
    }

    std::vector<std::set<std::string>> fieldsOfOpenObjects_;
    std::string fieldOfCatalogue_;
    size_t elementsInField_ = 0;
    std::optional<std::string> found_;
};

// The bytes of {"hex": "..."}, for texts that JSON cannot hold.
std::string bytesOf(const Json& value, const std::string& place) {
    const bool isHex = value.size() == 1 && value.contains("hex") && value["hex"].is_string();
    const auto bytes = isHex ? bytesFromHex(value["hex"].get<std::string>()) : std::nullopt;
    if (!bytes.has_value()) {
        throw BadCatalogue(place + " is an object where a text or {\"hex\": \"two digits for each byte\"} belongs");
    }
    return {bytes->begin(), bytes->end()};
}

// One JSON object of the catalogue, with the place that messages name.
class Fields {
  public:
    Fields(const Json& object, std::string place) : object_(object), place_(std::move(place)) {
        if (!object_.is_object()) {
            throw BadCatalogue(place_ + " is " + typeOf(object_) + " where an object belongs");
        }
    }

    void allowOnly(std::initializer_list<std::string_view> known) const {
        for (const auto& [field, value] : object_.items()) {
            if (std::find(known.begin(), known.end(), field) == known.end()) {
                throw BadCatalogue(place_ + ": unknown field " + inQuotes(field) + "; known here: " + listed(known));
            }
        }
    }

    bool has(const char* field) const {
        return object_.contains(field);
    }

    const Json& required(const char* field) const {
        const auto found = object_.find(field);
        if (found == object_.end()) {
            throw BadCatalogue(place_ + ": field " + inQuotes(field) + " is missing");
        }
        return *found;
    }

    const Json& array(const char* field) const {
        const Json& value = required(field);
        if (!value.is_array()) {
            throw wrongType(field, value, "an array");
        }
        return value;
    }

    std::string text(const char* field) const {
        const Json& value = required(field);
        if (value.is_object()) {
            return bytesOf(value, place_ + ": field " + inQuotes(field));
        }
        if (!value.is_string()) {
            throw wrongType(field, value, "a text");
        }
        return value.get<std::string>();
    }

    int64_t integer(const char* field, int64_t lowest, int64_t highest) const {
        const Json& value = required(field);
        if (!value.is_number_integer()) {
            throw wrongType(field, value, "a whole number");
        }
        const bool tooLarge = value.is_number_unsigned() && value.get<uint64_t>() > INT64_MAX;
        const int64_t result = tooLarge ? INT64_MAX : value.get<int64_t>();
        if (result < lowest || result > highest) {
            throw BadCatalogue(place_ + ": field " + inQuotes(field) + " is " + value.dump() + " where " +
                               std::to_string(lowest) + " to " + std::to_string(highest) + " is allowed");
        }
        return result;
    }

    double number(const char* field, double lowest, double highest) const {
        const Json& value = required(field);
        if (!value.is_number()) {
            throw wrongType(field, value, "a number");
        }
        const double number = value.get<double>();
        if (!(number >= lowest && number <= highest)) {
            throw BadCatalogue(place_ + ": field " + inQuotes(field) + " is " + value.dump() + " where " +
                               Json(lowest).dump() + " to " + Json(highest).dump() + " is allowed");
        }
        return number;
    }

    // The object in a field, named after it.
    Fields object(const char* field) const {
        return {required(field), place_ + ": field " + inQuotes(field)};
    }

    const std::string& place() const {
        return place_;
    }

    static std::string typeOf(const Json& value) {
        if (value.is_null()) {
            return "null";
        }
        if (value.is_boolean()) {
            return "a boolean";
        }
        if (value.is_number()) {
            return "the number " + value.dump();
        }
        if (value.is_string()) {
            return "a text";
        }
        return value.is_array() ? "an array" : "an object";
    }

  private:
    static std::string listed(std::initializer_list<std::string_view> names) {
        std::string list;
        for (const std::string_view name : names) {
            list += list.empty() ? "" : ", ";
            list += name;
        }
        return list;
    }

    BadCatalogue wrongType(const char* field, const Json& value, const char* wanted) const {
        return BadCatalogue(place_ + ": field " + inQuotes(field) + " is " + typeOf(value) + " where " + wanted +
                            " belongs");
    }

    const Json& object_;
    const std::string place_;
};

void checkId(const std::string& id, size_t longest, const std::string& place) {
    if (id.empty()) {
        throw BadCatalogue(place + ": the id is empty");
    }
    if (id.size() > longest) {
        throw BadCatalogue(place + ": the id has " + std::to_string(id.size()) + " bytes where at most " +
                           std::to_string(longest) + " are allowed");
    }
    if (id.find(':') != std::string::npos) {
        throw BadCatalogue(place + ": the id " + inQuotes(id) + " contains \":\", which separates ids in a query");
    }
}

void checkUnused(const Catalogue& catalogue, const std::string& id, const std::string& place) {
    if (catalogue.groupById.contains(id)) {
        throw BadCatalogue(place + ": the id " + inQuotes(id) + " already names a group");
    }
    if (catalogue.statisticById.contains(id)) {
        throw BadCatalogue(place + ": the id " + inQuotes(id) + " already names a statistic");
    }
}

int32_t code(const Fields& fields) {
    return fields.has("code") ? static_cast<int32_t>(fields.integer("code", INT32_MIN, INT32_MAX)) : 0;
}

Group groupOf(const Json& value, const std::string& place) {
    if (!value.is_string() && !value.is_object()) {
        throw BadCatalogue(place + " is not a text");
    }
    if (value.contains("id") || value.contains("code")) {
        const Fields fields(value, place);
        fields.allowOnly({"id", "code"});
        return {fields.text("id"), code(fields), {}};
    }
    return {value.is_object() ? bytesOf(value, place) : value.get<std::string>(), 0, {}};
}

void addGroup(Catalogue& catalogue, const Json& value, const std::string& place) {
    Group added = groupOf(value, place);
    checkId(added.id, kLongestText, place);
    checkUnused(catalogue, added.id, place);
    catalogue.groupById.emplace(added.id, catalogue.groups.size());
    catalogue.groups.push_back(std::move(added));
}

ConstantText constantText(const Fields& fields) {
    fields.allowOnly({"id", "group", "code", "kind", "text", "repeat"});
    const std::string once = fields.text("text");
    const int64_t times = fields.has("repeat") ? fields.integer("repeat", 1, kLongestValue) : 1;
    if (once.size() * static_cast<size_t>(times) > kLongestValue) {
        throw BadCatalogue(fields.place() + ": the text has " +
                           std::to_string(once.size() * static_cast<size_t>(times)) + " bytes where at most " +
                           std::to_string(kLongestValue) + " are allowed");
    }
    ConstantText constant;
    for (int64_t done = 0; done < times; ++done) {
        constant.text += once;
    }
    return constant;
}

Wandering wandering(const Fields& fields, double lowest) {
    Wandering result{};
    result.low = fields.number("low", lowest, kLargestNumber);
    result.high = fields.number("high", lowest, kLargestNumber);
    result.periodSeconds = fields.number("period", 1, 1e9);
    if (result.low > result.high) {
        throw BadCatalogue(fields.place() + ": field \"low\" is above field \"high\"");
    }
    return result;
}

int decimals(const Fields& fields) {
    return fields.has("decimals") ? static_cast<int>(fields.integer("decimals", 0, kMostDecimals)) : 0;
}

Counter counter(const Fields& fields) {
    fields.allowOnly({"id", "group", "code", "kind", "start", "rate", "lag"});
    constexpr int64_t kLargestStart = 1'000'000'000'000'000;
    Counter result{fields.integer("start", 0, kLargestStart), fields.number("rate", 0, 1e9), std::nullopt};
    if (!fields.has("lag")) {
        return result;
    }
    const Fields lagFields = fields.object("lag");
    lagFields.allowOnly({"low", "high", "period"});
    const Wandering lag = wandering(lagFields, 0);
    if (static_cast<double>(result.start) < lag.high) {
        throw BadCatalogue(lagFields.place() + " would take the value below 0: raise \"start\" to \"high\" at least");
    }
    if ((lag.high - lag.low) / lag.periodSeconds > result.perSecond) {
        throw BadCatalogue(lagFields.place() +
                           " would let the value fall: raise \"period\" until \"high\" less \"low\", divided by it, is "
                           "no more than \"rate\"");
    }
    result.lag = lag;
    return result;
}

Gauge gauge(const Fields& fields) {
    fields.allowOnly({"id", "group", "code", "kind", "low", "high", "period", "decimals"});
    return {wandering(fields, -kLargestNumber), decimals(fields)};
}

TimeText timeText(const Fields& fields) {
    fields.allowOnly({"id", "group", "code", "kind", "shows"});
    const std::string shows = fields.text("shows");
    if (shows != "now" && shows != "start") {
        throw BadCatalogue(fields.place() + ": field \"shows\" is " + inQuotes(shows) +
                           " where \"now\" or \"start\" belongs");
    }
    return {shows == "now" ? TimeText::Shows::now : TimeText::Shows::start};
}

// Fields that name other statistics.
class References {
  public:
    References(const Catalogue& catalogue, const Fields& fields) : catalogue_(catalogue), fields_(fields) {}

    size_t statistic(const char* field) const {
        return indexOf(field, fields_.text(field));
    }

    std::vector<Operand> operands(const char* field) const {
        const Json& values = fields_.array(field);
        if (values.empty() || values.size() > kMostOperands) {
            throw BadCatalogue(placeOf(field) + " has " + std::to_string(values.size()) + " elements where 1 to " +
                               std::to_string(kMostOperands) + " are allowed");
        }
        std::vector<Operand> operands;
        for (const Json& value : values) {
            operands.push_back(operand(field, value));
        }
        return operands;
    }

    // The most that one of the numbers in the field has.
    int decimalsOfNumbers(const char* field) const {
        int most = 0;
        for (const Json& value : fields_.array(field)) {
            most = value.is_number() ? std::max(most, decimalsOf(plainText(value))) : most;
        }
        return most;
    }

  private:
    // Without an exponent where it can do without, and without zeros at the end of a fraction.
    static std::string plainText(const Json& number) {
        if (number.is_number_integer()) {
            return number.dump();
        }
        const auto value = number.get<double>();
        std::string text = number.dump();
        if (text.find('e') != std::string::npos && std::fabs(value) <= static_cast<double>(kLargestExact)) {
            const std::string plain = std::to_string(value);
            text = std::stod(plain) == value ? plain : text;
        }
        if (text.find('.') != std::string::npos && text.find('e') == std::string::npos) {
            text.erase(text.find_last_not_of('0') + 1);
            text.erase(text.find_last_not_of('.') + 1);
        }
        return text;
    }

    std::string placeOf(const char* field) const {
        return fields_.place() + ": field " + inQuotes(field);
    }

    size_t indexOf(const char* field, const std::string& id) const {
        const auto found = catalogue_.statisticById.find(id);
        if (found == catalogue_.statisticById.end()) {
            throw BadCatalogue(placeOf(field) + " names " + inQuotes(id, 60) +
                               ", which is not among \"statistics\"; correct the id, or add the statistic");
        }
        return found->second;
    }

    Operand operand(const char* field, const Json& value) const {
        if (value.is_number()) {
            const auto number = Decimal::parse(plainText(value));
            if (!number.has_value()) {
                throw BadCatalogue(placeOf(field) + " has the number " + value.dump() + " where one up to " +
                                   std::to_string(kLargestExact) + " with at most " + std::to_string(kMostDecimals) +
                                   " decimals is allowed");
            }
            return *number;
        }
        if (!value.is_string() && !value.is_object()) {
            throw BadCatalogue(placeOf(field) + " has " + Fields::typeOf(value) + " where an id or a number belongs");
        }
        return indexOf(field, value.is_object() ? bytesOf(value, placeOf(field)) : value.get<std::string>());
    }

    const Catalogue& catalogue_;
    const Fields& fields_;
};

Sum sum(const Catalogue& catalogue, const Fields& fields) {
    fields.allowOnly({"id", "group", "code", "kind", "plus", "minus"});
    const References references(catalogue, fields);
    Sum result{references.operands("plus"), {}, references.decimalsOfNumbers("plus")};
    if (fields.has("minus")) {
        result.minus = references.operands("minus");
        result.decimals = std::max(result.decimals, references.decimalsOfNumbers("minus"));
    }
    return result;
}

Rate rate(const Catalogue& catalogue, const Fields& fields) {
    fields.allowOnly({"id", "group", "code", "kind", "of", "decimals"});
    return {References(catalogue, fields).statistic("of"), decimals(fields)};
}

Percent percent(const Catalogue& catalogue, const Fields& fields) {
    fields.allowOnly({"id", "group", "code", "kind", "part", "of", "decimals"});
    const References references(catalogue, fields);
    return {references.statistic("part"), references.operands("of"), decimals(fields),
            references.decimalsOfNumbers("of")};
}

ValueKind valueKind(const Catalogue& catalogue, const Fields& fields) {
    const std::string kind = fields.text("kind");
    if (kind == "text") {
        return constantText(fields);
    }
    if (kind == "counter") {
        return counter(fields);
    }
    if (kind == "gauge") {
        return gauge(fields);
    }
    if (kind == "clock") {
        return timeText(fields);
    }
    if (kind == "sum") {
        return sum(catalogue, fields);
    }
    if (kind == "rate") {
        return rate(catalogue, fields);
    }
    if (kind == "percent") {
        return percent(catalogue, fields);
    }
    throw BadCatalogue(fields.place() + ": field \"kind\" is " + inQuotes(kind) +
                       " where \"text\", \"counter\", \"gauge\", \"clock\", \"sum\", \"rate\" or \"percent\" belongs");
}

std::string placeOfStatistic(size_t index, const std::string& id) {
    return "statistics[" + std::to_string(index) + "] (" + inQuotes(id, 60) + ")";
}

// All but its kind, which may name statistics that come later.
void addStatistic(Catalogue& catalogue, const Json& value, size_t index) {
    const std::string place = "statistics[" + std::to_string(index) + "]";
    const std::string id = Fields(value, place).text("id");
    const Fields fields(value, placeOfStatistic(index, id));
    checkId(id, kLongestStatisticId, place);
    checkUnused(catalogue, id, place);
    const std::string group = fields.text("group");
    const auto found = catalogue.groupById.find(group);
    if (found == catalogue.groupById.end()) {
        throw BadCatalogue(fields.place() + ": the group " + inQuotes(group) + " is not among \"groups\"");
    }
    catalogue.groups[found->second].statistics.push_back(index);
    catalogue.statisticById.emplace(id, index);
    catalogue.statistics.push_back({id, found->second, code(fields), ConstantText()});
}

void addStatistics(Catalogue& catalogue, const Json& values) {
    size_t index = 0;
    for (const Json& value : values) {
        addStatistic(catalogue, value, index++);
    }
    index = 0;
    for (const Json& value : values) {
        Statistic& statistic = catalogue.statistics[index];
        statistic.kind = valueKind(catalogue, Fields(value, placeOfStatistic(index, statistic.id)));
        ++index;
    }
    completeDerivations(catalogue);
}

Catalogue catalogueOf(const Json& document) {
    const Fields fields(document, "the catalogue");
    fields.allowOnly({"protocol", "groups", "statistics"});
    Catalogue catalogue;
    catalogue.protocol = fields.text("protocol");
    if (catalogue.protocol.size() > kLongestText) {
        throw BadCatalogue("field \"protocol\" has " + std::to_string(catalogue.protocol.size()) +
                           " bytes where at most " + std::to_string(kLongestText) + " are allowed");
    }
    size_t index = 0;
    for (const Json& group : fields.array("groups")) {
        addGroup(catalogue, group, "groups[" + std::to_string(index++) + "]");
    }
    addStatistics(catalogue, fields.array("statistics"));
    return catalogue;
}

// The parser's own text without its leading error class in brackets.
std::string parserMessage(const Json::exception& error) {
    const std::string message = error.what();
    const size_t end = message.find("] ");
    return end == std::string::npos ? message : message.substr(end + 2);
}

}  // namespace

std::string readCatalogueFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        throw BadCatalogue("catalogue " + inQuotes(path) + ": cannot open the file for reading");
    }
    std::string text(kLongestFile + 1, '\0');
    file.read(text.data(), static_cast<std::streamsize>(text.size()));
    if (file.bad() || (file.fail() && !file.eof())) {
        throw BadCatalogue("catalogue " + inQuotes(path) + ": cannot read the file");
    }
    text.resize(static_cast<size_t>(file.gcount()));
    if (text.size() > kLongestFile) {
        throw BadCatalogue("catalogue " + inQuotes(path) + ": the file is larger than " + std::to_string(kLongestFile) +
                           " bytes");
    }
    return text;
}

Catalogue parseCatalogue(std::string_view text, const std::string& name) {
    const std::string prefix = "catalogue " + inQuotes(name) + ": ";
    try {
        DuplicateFieldFinder duplicates;
        const Json document = Json::parse(text, std::ref(duplicates));
        if (duplicates.found().has_value()) {
            throw BadCatalogue(*duplicates.found());
        }
        return catalogueOf(document);
    } catch (const Json::exception& error) {
        throw BadCatalogue(prefix + parserMessage(error));
    } catch (const BadCatalogue& error) {
        throw BadCatalogue(prefix + error.what());
    }
}

}  // namespace gatewaysim
