// Reading answers step by step, and asking again for what an answer left out. Nothing here calls the library: the steps
// and the questions come in as functions.
#ifndef ZULSTATS_TOOLS_ZULSTAT_ANSWER_H
#define ZULSTATS_TOOLS_ZULSTAT_ANSWER_H

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "report.h"
#include "zulstats64.h"

namespace zulstat {

// In front of an entry of an element.
struct AnswerPlace {
    size_t element = 0;
    size_t entry = 0;
};

struct Answer {
    int32_t code = STAPI_RC_OK;
    std::chrono::steady_clock::time_point arrivedAt{};  // the last part of it
    Failure::Stage stage = Failure::Stage::querying;    // where `code` arose
    std::vector<Element> elements;
    // Elements follow that no further step reaches: the library takes the start of the next element for an entry when
    // an element has no entries, and goes astray. The last of `elements` is the one without entries.
    bool cutShort = false;
    // One more element was announced, and the walk ended before it: it has no entries.
    bool hidesLastElement = false;
    // The first place that a reply broken off in the middle may have made: the library completes such a reply with
    // zeros. What stands before it arrived whole. None when nothing of the kind was met.
    std::optional<AnswerPlace> suspect;
    bool cutOff = false;      // it was broken off; only what is certain is left in `elements`
    bool incomplete = false;  // an element announces more entries than it holds
    // Ids that were asked for, of which no element speaks, though there are others. Of an answer that is whole.
    std::vector<std::string> unanswered;
};

// An answer that only a further exchange on the same connection can tell from one that was broken off.
inline bool needsConfirmation(const Answer& answer) {
    return answer.code == STAPI_RC_OK && answer.suspect.has_value();
}

// Takes away what may not have arrived whole.
void keepWhatIsCertain(Answer& answer);

// Each call makes the next step of a walk, the first call the first step.
using IdStep = std::function<int32_t(IdData&)>;
using StatStep = std::function<int32_t(StatData&)>;

Answer readIds(const IdStep& step);
Answer readStatistics(const StatStep& step);

// Sends one id list and reads the answer.
using AskForList = std::function<Answer(const std::string& list)>;

// What an id brings of which a walk shows nothing: a group may have no entries; a statistic has one, or a failed
// element.
enum class WithoutEntries { isAnElement, isNoAnswer };

// Asks for all the ids in as few lists as possible. Elements that the answers leave out or cannot reach are asked for
// one by one. The order of the ids is kept. Ids that stay without an element are named.
Answer askForIds(const std::vector<std::string>& ids, WithoutEntries withoutEntries, const AskForList& ask);

// Completes an answer about everything that was cut short or hides an element, by asking for the groups that it has not
// reached. Leaves the answer as it is when its elements are not groups.
void completeByGroup(Answer& answer, const std::vector<std::string>& groups, const AskForList& askByGroup);

}  // namespace zulstat

#endif
