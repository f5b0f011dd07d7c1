#include "answer.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <iterator>
#include <optional>
#include <string_view>
#include <type_traits>
#include <unordered_set>
#include <utility>

#include "id_list.h"

namespace zulstat {
namespace {

std::string copyText(const char* const text, const uint32_t length) {
    return length == 0 ? std::string() : std::string(text, length);
}

const char* entryText(const IdData& record) {
    return record.idPtr;
}

const char* entryText(const StatData& record) {
    return record.statIdPtr;
}

Entry copyEntry(const IdData& record) {
    return {copyText(record.idPtr, record.idLen), {}};
}

Entry copyEntry(const StatData& record) {
    return {copyText(record.statIdPtr, record.statIdLen), copyText(record.statValuePtr, record.statValueLen)};
}

uint32_t numberAt(const char* const place) {
    uint32_t number = 0;
    std::memcpy(&number, place, sizeof number);
    return number;
}

// Before the first element of a result set stand the number of its elements and the length of the element's text.
uint32_t announcedElements(const char* const firstElement) {
    constexpr ptrdiff_t kDistanceToCount = 8;
    return numberAt(firstElement - kDistanceToCount);
}

// Between the text of an element and that of its first entry stand the element's code, its number of entries and the
// entry's length, four bytes each. A number of 0 is the only sign that the entry is none, and that neither its length
// nor its text may be relied on.
template <class Record>
uint32_t announcedEntries(const Record& record) {
    constexpr ptrdiff_t kSizeOfCode = 4;
    return numberAt(record.queryElementPtr + record.queryElementLen + kSizeOfCode);
}

// An entry that does not stand where the first of an element does was reached by a walk that had gone astray before.
template <class Record>
bool isBehindHeadOfElement(const Record& record) {
    constexpr ptrdiff_t kDistanceToFirstEntry = 12;
    return entryText(record) - (record.queryElementPtr + record.queryElementLen) == kDistanceToFirstEntry;
}

// Zeros that complete a reply become NUL bytes; a value whose pieces are missing runs into the end mark of the result
// set, which consists of control characters.
bool mayHaveBeenBrokenOff(const std::string_view text) {
    return std::any_of(text.begin(), text.end(), [](const char character) {
        const auto byte = static_cast<unsigned char>(character);
        return byte < ' ' && byte != '\n' && byte != '\r' && byte != '\t';
    });
}

// The code of a failed element that misses its last bytes.
bool mayHaveBeenBrokenOff(const int32_t code) {
    constexpr uint32_t kLastByte = 0xFF;
    return code < 0 && (static_cast<uint32_t>(code) & kLastByte) == 0;
}

// Follows a walk, and remembers the first place that a reply broken off may have made.
class AnswerReader {
  public:
    explicit AnswerReader(const bool hasValues) : hasValues_(hasValues) {}

    // Whether the walk may go on.
    template <class Record>
    bool take(const Record& record) {
        const bool startsElement = record.queryElementPtr != elementAddress_;
        if (startsElement) {
            startElement(record);
        }
        if (record.queryElementRC < 0) {
            return true;
        }
        if (startsElement && isBehindHeadOfElement(record)) {
            entriesToCome_ = announcedEntries(record);
            if (entriesToCome_ == 0) {
                endAtElementWithoutEntries();
                return false;
            }
        }
        takeEntry(copyEntry(record));
        return true;
    }

    Answer finish(const int32_t code) {
        if (code != STAPI_RC_OK && code != STAPI_RC_END_OF_DATA) {
            answer_.code = code;
            answer_.stage = Failure::Stage::reading;
            return std::move(answer_);
        }
        const size_t missing = announcedElements_ - std::min(announcedElements_, answer_.elements.size());
        answer_.incomplete = entriesToCome_ != 0;
        // The first one that is missing has no entries, which leads the walk beyond the end.
        answer_.hidesLastElement = missing == 1 && !answer_.cutShort;
        answer_.cutShort = missing > 1 || answer_.cutShort;
        if (answer_.incomplete || missing > 0 || answer_.elements.empty() || emptyValue_) {
            suspectHere();
        }
        return std::move(answer_);
    }

  private:
    template <class Record>
    void startElement(const Record& record) {
        if (elementAddress_ == nullptr) {
            announcedElements_ = announcedElements(record.queryElementPtr);
        }
        if (entriesToCome_ != 0) {
            suspectHere();
        }
        elementAddress_ = record.queryElementPtr;
        entriesToCome_ = 0;
        Element element{copyText(record.queryElementPtr, record.queryElementLen), record.queryElementRC, {}};
        if (mayHaveBeenBrokenOff(element.text) || mayHaveBeenBrokenOff(element.code)) {
            suspect({answer_.elements.size(), 0});
        }
        answer_.elements.push_back(std::move(element));
    }

    void takeEntry(Entry entry) {
        const AnswerPlace place{answer_.elements.size() - 1, answer_.elements.back().entries.size()};
        entriesToCome_ -= entriesToCome_ == 0 ? 0 : 1;
        if (entry.id.empty() || mayHaveBeenBrokenOff(entry.id) || mayHaveBeenBrokenOff(entry.value)) {
            suspect(place);
        } else {
            // An id that arrived says that all before it did: zeros go on to the end of a reply.
            emptyValue_ = hasValues_ && entry.value.empty() ? std::optional(place) : std::nullopt;
        }
        answer_.elements.back().entries.push_back(std::move(entry));
    }

    void endAtElementWithoutEntries() {
        suspect({answer_.elements.size() - 1, 0});
        answer_.cutShort = answer_.elements.size() < announcedElements_;
    }

    void suspect(const AnswerPlace& place) {
        if (!answer_.suspect) {
            answer_.suspect = emptyValue_.value_or(place);
        }
    }

    void suspectHere() {
        suspect(answer_.elements.empty()
                    ? AnswerPlace{}
                    : AnswerPlace{answer_.elements.size() - 1, answer_.elements.back().entries.size()});
    }

    Answer answer_;
    const char* elementAddress_ = nullptr;
    bool hasValues_;
    size_t announcedElements_ = 0;
    uint32_t entriesToCome_ = 0;
    std::optional<AnswerPlace> emptyValue_;  // nothing has arrived since
};

template <class Record, class Step>
Answer readAnswer(const Step& step) {
    AnswerReader reader(std::is_same_v<Record, StatData>);
    Record record{};
    int32_t code = STAPI_RC_OK;
    while ((code = step(record)) == STAPI_RC_OK) {
        if (!reader.take(record)) {
            break;
        }
    }
    return reader.finish(code);
}

std::unordered_set<std::string_view> elementTexts(const Answer& answer) {
    std::unordered_set<std::string_view> texts;
    for (const Element& element : answer.elements) {
        texts.insert(element.text);
    }
    return texts;
}

std::vector<std::string> idsNotAnswered(const std::vector<std::string>& ids, const Answer& answer) {
    const auto answered = elementTexts(answer);
    std::vector<std::string> rest;
    std::copy_if(ids.begin(), ids.end(), std::back_inserter(rest),
                 [&](const std::string& id) { return answered.count(id) == 0; });
    return rest;
}

bool answersOnly(const Answer& answer, const std::vector<std::string>& ids) {
    const std::unordered_set<std::string_view> asked(ids.begin(), ids.end());
    return std::all_of(answer.elements.begin(), answer.elements.end(),
                       [&](const Element& element) { return asked.count(element.text) != 0; });
}

bool isOverForGood(const Answer& answer) {
    return answer.code != STAPI_RC_OK || answer.cutOff || answer.incomplete;
}

bool isOver(const Answer& answer) {
    return isOverForGood(answer) || answer.cutShort;
}

void append(Answer& whole, Answer part) {
    std::move(part.elements.begin(), part.elements.end(), std::back_inserter(whole.elements));
    whole.code = part.code;
    whole.arrivedAt = part.arrivedAt;
    whole.stage = part.stage;
    whole.cutShort = part.cutShort;
    whole.hidesLastElement = part.hidesLastElement;
    whole.cutOff = part.cutOff;
    whole.incomplete = part.incomplete;
}

// A walk shows nothing of a single element without entries, its code neither. It shows the first of two.
Answer askForOneWithoutEntries(const std::string& id, const WithoutEntries withoutEntries, const AskForList& ask) {
    const std::string twice = joinIds({id, id});
    Answer answer = twice.size() <= kLongestIdList ? ask(twice) : Answer();
    if (isOverForGood(answer)) {
        return answer;
    }
    const bool isShown = !answer.elements.empty() && answer.elements.front().text == id;
    const int32_t elementCode = isShown ? answer.elements.front().code : 0;
    answer.elements.clear();
    answer.cutShort = false;
    answer.hidesLastElement = false;
    // A gateway that answers an id once however often it is asked for shows nothing of it either.
    if (isShown || withoutEntries == WithoutEntries::isAnElement) {
        answer.elements.push_back({id, elementCode, {}});
    }
    return answer;
}

Answer askForOne(const std::string& id, const WithoutEntries withoutEntries, const AskForList& ask) {
    Answer answer = ask(id);
    return isOverForGood(answer) || !answer.elements.empty() ? answer
                                                             : askForOneWithoutEntries(id, withoutEntries, ask);
}

void askOneByOne(Answer& answer, const std::vector<std::string>& ids, const WithoutEntries withoutEntries,
                 const AskForList& ask) {
    answer.cutShort = false;
    answer.hidesLastElement = false;
    for (const std::string& id : ids) {
        Answer ofOne = askForOne(id, withoutEntries, ask);
        // An element of another name has been answered before, or is not what was asked for.
        std::erase_if(ofOne.elements, [&](const Element& element) { return element.text != id; });
        append(answer, std::move(ofOne));
        if (isOver(answer)) {
            return;
        }
    }
}

Answer askForPart(const std::vector<std::string>& ids, const WithoutEntries withoutEntries, const AskForList& ask) {
    if (ids.size() == 1) {
        return askForOne(ids.front(), withoutEntries, ask);
    }
    Answer answer = ask(joinIds(ids));
    const bool lacksElements = answer.cutShort || answer.elements.size() < ids.size();
    // A gateway that names its elements otherwise would do so again.
    if (!isOverForGood(answer) && lacksElements && answersOnly(answer, ids)) {
        askOneByOne(answer, idsNotAnswered(ids, answer), withoutEntries, ask);
    }
    return answer;
}

}  // namespace

void keepWhatIsCertain(Answer& answer) {
    const AnswerPlace place = answer.suspect.value_or(AnswerPlace{answer.elements.size(), 0});
    if (place.element < answer.elements.size()) {
        std::vector<Entry>& entries = answer.elements[place.element].entries;
        entries.erase(entries.begin() + static_cast<ptrdiff_t>(std::min(place.entry, entries.size())), entries.end());
        answer.elements.resize(place.element + (entries.empty() ? 0 : 1));
    }
    answer.cutShort = false;
}

Answer readIds(const IdStep& step) {
    return readAnswer<IdData>(step);
}

Answer readStatistics(const StatStep& step) {
    return readAnswer<StatData>(step);
}

Answer askForIds(const std::vector<std::string>& ids, const WithoutEntries withoutEntries, const AskForList& ask) {
    Answer whole;
    for (const std::vector<std::string>& part : splitIds(withoutRepeats(ids))) {
        append(whole, askForPart(part, withoutEntries, ask));
        if (isOver(whole)) {
            break;
        }
    }
    if (!isOver(whole)) {
        whole.unanswered = idsNotAnswered(ids, whole);
    }
    return whole;
}

void completeByGroup(Answer& answer, const std::vector<std::string>& groups, const AskForList& askByGroup) {
    if ((answer.cutShort || answer.hidesLastElement) && answersOnly(answer, groups)) {
        askOneByOne(answer, idsNotAnswered(groups, answer), WithoutEntries::isAnElement, askByGroup);
    }
}

}  // namespace zulstat
