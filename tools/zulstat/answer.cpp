#include "answer.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <iterator>
#include <optional>
#include <string_view>
#include <unordered_set>
#include <utility>

#include "id_list.h"

namespace zulstat {
namespace {

// In the place of an entry's length, where an element without entries is the last of its result set.
constexpr uint32_t kEndMark = 0x0E0F0E0F;

std::string copyText(const char* const text, const uint32_t length) {
    return length == 0 ? std::string() : std::string(text, length);
}

uint32_t entryLength(const IdData& record) {
    return record.idLen;
}

uint32_t entryLength(const StatData& record) {
    return record.statIdLen;
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

// Between the text of an element and that of its first entry stand the element's code, its number of entries and the
// entry's length, four bytes each. A number of 0 is the only sign that the entry is none, and that neither its length
// nor its text may be relied on. Only bytes between two pointers that the library handed out are read.
template <class Record>
bool isFirstEntryOfNone(const Record& record) {
    constexpr ptrdiff_t kSizeOfCode = 4;
    constexpr ptrdiff_t kDistanceToFirstEntry = 12;
    const char* const elementEnd = record.queryElementPtr + record.queryElementLen;
    if (entryText(record) - elementEnd != kDistanceToFirstEntry) {
        return false;
    }
    uint32_t numberOfEntries = 0;
    std::memcpy(&numberOfEntries, elementEnd + kSizeOfCode, sizeof numberOfEntries);
    return numberOfEntries == 0;
}

template <class Record, class Step>
Answer readAnswer(const Step& step) {
    Answer answer;
    Record record{};
    const char* elementAddress = nullptr;
    while ((answer.code = step(record)) == STAPI_RC_OK) {
        const bool startsElement = record.queryElementPtr != elementAddress;
        if (startsElement) {
            elementAddress = record.queryElementPtr;
            answer.elements.push_back(
                {copyText(record.queryElementPtr, record.queryElementLen), record.queryElementRC, {}});
        }
        if (record.queryElementRC < 0) {
            continue;
        }
        if (startsElement && isFirstEntryOfNone(record)) {
            answer.cutShort = entryLength(record) != kEndMark;
            return answer;
        }
        answer.elements.back().entries.push_back(copyEntry(record));
    }
    if (answer.code == STAPI_RC_END_OF_DATA) {
        answer.code = STAPI_RC_OK;
    } else {
        answer.stage = Failure::Stage::reading;
    }
    return answer;
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

bool isOver(const Answer& answer) {
    return answer.code != STAPI_RC_OK || answer.cutShort;
}

void append(Answer& whole, Answer part) {
    std::move(part.elements.begin(), part.elements.end(), std::back_inserter(whole.elements));
    whole.code = part.code;
    whole.stage = part.stage;
    whole.cutShort = part.cutShort;
}

Answer askForOne(const std::string& id, const AskForList& ask) {
    Answer answer = ask(id);
    if (answer.code == STAPI_RC_OK && answer.elements.empty()) {
        answer.elements.push_back({id, 0, {}});
    }
    return answer;
}

void askOneByOne(Answer& answer, const std::vector<std::string>& ids, const AskForList& ask) {
    answer.cutShort = false;
    for (const std::string& id : ids) {
        append(answer, askForOne(id, ask));
        if (isOver(answer)) {
            return;
        }
    }
}

Answer askForPart(const std::vector<std::string>& ids, const AskForList& ask) {
    if (ids.size() == 1) {
        return askForOne(ids.front(), ask);
    }
    Answer answer = ask(joinIds(ids));
    const bool isIncomplete = answer.cutShort || answer.elements.size() < ids.size();
    // A gateway that names its elements otherwise is taken at its word.
    if (answer.code == STAPI_RC_OK && isIncomplete && answersOnly(answer, ids)) {
        askOneByOne(answer, idsNotAnswered(ids, answer), ask);
    }
    return answer;
}

}  // namespace

Answer readIds(const IdStep& step) {
    return readAnswer<IdData>(step);
}

Answer readStatistics(const StatStep& step) {
    return readAnswer<StatData>(step);
}

Answer askForIds(const std::vector<std::string>& ids, const AskForList& ask) {
    Answer whole;
    for (const std::vector<std::string>& part : splitIds(withoutRepeats(ids))) {
        append(whole, askForPart(part, ask));
        if (isOver(whole)) {
            break;
        }
    }
    return whole;
}

void completeByGroup(Answer& answer, const std::vector<std::string>& groups, const AskForList& askByGroup) {
    if (answer.cutShort && answersOnly(answer, groups)) {
        askOneByOne(answer, idsNotAnswered(groups, answer), askByGroup);
    }
}

}  // namespace zulstat
