#include "answer.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "id_list.h"

namespace {

using namespace std::string_literals;
using zulstat::Answer;
using zulstat::askForIds;
using zulstat::completeByGroup;
using zulstat::Element;
using zulstat::Entry;
using zulstat::Failure;
using zulstat::readIds;
using zulstat::readStatistics;
using zulstat::WithoutEntries;

constexpr uint32_t kEndMark = 0x0E0F0E0F;

// The bytes of a result set as the library lays them out, and the places in it that a walk hands out.
class ResultSetBytes {
  public:
    explicit ResultSetBytes(uint32_t elements) : bytes_("ZULIDSET") {
        addNumber(elements);
    }
    size_t addNumber(uint32_t number) {
        bytes_.append(reinterpret_cast<const char*>(&number), sizeof number);
        return bytes_.size();
    }
    size_t addText(const std::string& text) {
        addNumber(static_cast<uint32_t>(text.size()));
        bytes_ += text;
        return bytes_.size() - text.size();
    }
    // The head of an answered element, the text's place being what a walk hands out.
    size_t addElement(const std::string& text, uint32_t code, uint32_t entryCount) {
        const size_t place = addText(text);
        addNumber(code);
        addNumber(entryCount);
        return place;
    }
    const char* at(size_t place) const {
        return bytes_.data() + place;
    }

  private:
    std::string bytes_;
};

template <class Record>
class ScriptedWalk {
  public:
    explicit ScriptedWalk(int32_t endCode) : endCode_(endCode) {}
    void add(const Record& record) {
        records_.push_back(record);
    }
    int32_t operator()(Record& record) {
        if (next_ == records_.size()) {
            return endCode_;
        }
        record = records_[next_++];
        return STAPI_RC_OK;
    }
    bool isUsedUp() const {
        return next_ == records_.size();
    }

  private:
    std::vector<Record> records_;
    size_t next_ = 0;
    int32_t endCode_;
};

IdData idRecord(const ResultSetBytes& bytes, size_t element, uint32_t elementLength, int32_t code, size_t id,
                uint32_t idLength) {
    return {{'Z', 'U', 'L', 'I', 'D', 'S', 'E', 'T'}, bytes.at(element), elementLength, code, idLength, bytes.at(id)};
}

StatData statRecord(const ResultSetBytes& bytes, size_t element, size_t id, uint32_t idLength, size_t value,
                    uint32_t valueLength) {
    return {{}, bytes.at(element), 1, 0, idLength, bytes.at(id), valueLength, bytes.at(value)};
}

std::vector<std::string> idsOf(const Element& element) {
    std::vector<std::string> ids;
    for (const Entry& entry : element.entries) {
        ids.push_back(entry.id);
    }
    return ids;
}

using Texts = std::vector<std::string>;

TEST(ReadIds, GathersTheIdsOfEachElement) {
    ResultSetBytes bytes(2);
    const size_t a = bytes.addElement("A", 0, 2);
    const size_t first = bytes.addText("a.one");
    const size_t second = bytes.addText("");
    const size_t b = bytes.addElement("A", 4, 1);
    const size_t third = bytes.addText("b.one");
    ScriptedWalk<IdData> walk(STAPI_RC_END_OF_DATA);
    walk.add(idRecord(bytes, a, 1, 0, first, 5));
    walk.add(idRecord(bytes, a, 1, 0, second, 0));
    walk.add(idRecord(bytes, b, 1, 4, third, 5));

    const Answer answer = readIds(std::ref(walk));
    EXPECT_EQ(answer.code, STAPI_RC_OK);
    EXPECT_FALSE(answer.cutShort);
    ASSERT_EQ(answer.elements.size(), 2U) << "elements with the same text are two elements";
    EXPECT_EQ(answer.elements[0].text, "A");
    EXPECT_EQ(answer.elements[0].code, 0);
    EXPECT_EQ(idsOf(answer.elements[0]), (Texts{"a.one", ""}));
    EXPECT_EQ(answer.elements[1].code, 4);
    EXPECT_EQ(idsOf(answer.elements[1]), (Texts{"b.one"}));
}

TEST(ReadIds, TakesNoEntryFromAFailedElement) {
    ResultSetBytes bytes(2);
    const size_t a = bytes.addElement("A", 0, 1);
    const size_t id = bytes.addText("a.one");
    const size_t b = bytes.addText("BB");
    ScriptedWalk<IdData> walk(STAPI_RC_END_OF_DATA);
    walk.add(idRecord(bytes, a, 1, 0, id, 5));
    walk.add(idRecord(bytes, b, 2, -5, id, 5));

    const Answer answer = readIds(std::ref(walk));
    ASSERT_EQ(answer.elements.size(), 2U);
    EXPECT_EQ(answer.elements[1].text, "BB");
    EXPECT_EQ(answer.elements[1].code, -5);
    EXPECT_TRUE(answer.elements[1].entries.empty());
}

TEST(ReadIds, TakesTheEndMarkAfterAnElementWithoutEntriesForTheEnd) {
    ResultSetBytes bytes(1);
    const size_t a = bytes.addElement("A", 0, 0);
    const size_t behind = bytes.addNumber(kEndMark);
    ScriptedWalk<IdData> walk(STAPI_RC_END_OF_DATA);
    walk.add(idRecord(bytes, a, 1, 0, behind, kEndMark));

    const Answer answer = readIds(std::ref(walk));
    EXPECT_EQ(answer.code, STAPI_RC_OK);
    EXPECT_FALSE(answer.cutShort);
    ASSERT_EQ(answer.elements.size(), 1U);
    EXPECT_TRUE(answer.elements[0].entries.empty());
}

TEST(ReadIds, StopsWhereTheNextElementIsTakenForAnEntry) {
    ResultSetBytes bytes(2);
    const size_t a = bytes.addElement("A", 0, 0);
    const size_t b = bytes.addText("BB");
    ScriptedWalk<IdData> walk(STAPI_RC_END_OF_DATA);
    walk.add(idRecord(bytes, a, 1, 0, b, 2));
    walk.add(idRecord(bytes, b, 2, 0, b, 2));

    const Answer answer = readIds(std::ref(walk));
    EXPECT_TRUE(answer.cutShort);
    EXPECT_FALSE(walk.isUsedUp()) << "no step is made from there";
    ASSERT_EQ(answer.elements.size(), 1U);
    EXPECT_TRUE(answer.elements[0].entries.empty());
}

TEST(ReadIds, ReportsTheCodeOfAFailedStep) {
    ScriptedWalk<IdData> walk(STAPI_RC_WRONG_CONTENT);
    const Answer answer = readIds(std::ref(walk));
    EXPECT_EQ(answer.code, STAPI_RC_WRONG_CONTENT);
    EXPECT_EQ(answer.stage, Failure::Stage::reading);
}

TEST(ReadStatistics, GathersIdsAndValuesWhateverBytesTheyHold) {
    const std::string hostile("\0\x1B\xFF\n", 4);
    ResultSetBytes bytes(1);
    const size_t a = bytes.addElement("A", 0, 2);
    const size_t firstId = bytes.addText("one");
    const size_t firstValue = bytes.addText(hostile);
    const size_t secondId = bytes.addText("two");
    const size_t secondValue = bytes.addText("");
    ScriptedWalk<StatData> walk(STAPI_RC_END_OF_DATA);
    walk.add(statRecord(bytes, a, firstId, 3, firstValue, 4));
    walk.add(statRecord(bytes, a, secondId, 3, secondValue, 0));

    const Answer answer = readStatistics(std::ref(walk));
    ASSERT_EQ(answer.elements.size(), 1U);
    ASSERT_EQ(answer.elements[0].entries.size(), 2U);
    EXPECT_EQ(answer.elements[0].entries[0].id, "one");
    EXPECT_EQ(answer.elements[0].entries[0].value, hostile);
    EXPECT_EQ(answer.elements[0].entries[1].value, "");
}

TEST(ReadStatistics, StopsWhereTheNextElementIsTakenForAnEntry) {
    ResultSetBytes bytes(2);
    const size_t a = bytes.addElement("A", 0, 0);
    const size_t b = bytes.addText("BB");
    const size_t behindCode = bytes.addNumber(0);
    bytes.addNumber(1);
    ScriptedWalk<StatData> walk(STAPI_RC_END_OF_DATA);
    walk.add(statRecord(bytes, a, b, 2, behindCode, 0));

    const Answer answer = readStatistics(std::ref(walk));
    EXPECT_TRUE(answer.cutShort);
    ASSERT_EQ(answer.elements.size(), 1U);
    EXPECT_TRUE(answer.elements[0].entries.empty());
}

// Answers each list with an element for every id, and remembers the lists.
class ScriptedGateway {
  public:
    Answer operator()(const std::string& list) {
        lists.push_back(list);
        Answer answer;
        for (size_t start = 0; start <= list.size() && !answer.cutShort && answer.code == STAPI_RC_OK;) {
            const size_t end = std::min(list.find(':', start), list.size());
            answerElement(answer, list.substr(start, end - start), end < list.size());
            start = end + 1;
        }
        return answer;
    }

    Texts lists;
    Texts withoutEntries;  // noticed as such, and the answer's end
    Texts leftOut;         // not mentioned at all
    std::string losesConnectionAt;

  private:
    static bool contains(const Texts& texts, const std::string& text) {
        return std::find(texts.begin(), texts.end(), text) != texts.end();
    }

    void answerElement(Answer& answer, const std::string& id, bool isFollowed) {
        if (id == losesConnectionAt) {
            answer = Answer{};
            answer.code = STAPI_RC_SOCKET_ERROR;
        } else if (contains(withoutEntries, id)) {
            answer.elements.push_back({id, 0, {}});
            answer.cutShort = isFollowed;
        } else if (!contains(leftOut, id)) {
            answer.elements.push_back({id, 0, {{id + ".x", ""}}});
        }
    }
};

Texts elementsOf(const Answer& answer) {
    Texts texts;
    for (const Element& element : answer.elements) {
        texts.push_back(element.text + "/" + std::to_string(element.entries.size()));
    }
    return texts;
}

TEST(AskForIds, AsksForAllIdsInOneList) {
    ScriptedGateway gateway;
    const Answer answer = askForIds({"A", "B", "A"}, WithoutEntries::isAnElement, std::ref(gateway));
    EXPECT_EQ(gateway.lists, (Texts{"A:B"}));
    EXPECT_EQ(elementsOf(answer), (Texts{"A/1", "B/1"}));
}

TEST(AskForIds, SplitsATooLongListAndKeepsTheOrder) {
    ScriptedGateway gateway;
    Texts ids;
    for (char letter = 'a'; letter <= 'e'; ++letter) {
        ids.emplace_back(10000, letter);
    }
    const Answer answer = askForIds(ids, WithoutEntries::isAnElement, std::ref(gateway));
    ASSERT_EQ(gateway.lists.size(), 2U);
    EXPECT_EQ(gateway.lists[0], ids[0] + ":" + ids[1] + ":" + ids[2]);
    EXPECT_EQ(gateway.lists[1], ids[3] + ":" + ids[4]);
    ASSERT_EQ(answer.elements.size(), 5U);
    EXPECT_EQ(answer.elements[4].text, ids[4]);
}

TEST(AskForIds, AsksOneByOneForWhatAnElementWithoutEntriesHides) {
    ScriptedGateway gateway;
    gateway.withoutEntries = {"B"};
    const Answer answer = askForIds({"A", "B", "C", "D"}, WithoutEntries::isAnElement, std::ref(gateway));
    EXPECT_EQ(gateway.lists, (Texts{"A:B:C:D", "C", "D"}));
    EXPECT_EQ(elementsOf(answer), (Texts{"A/1", "B/0", "C/1", "D/1"}));
    EXPECT_FALSE(answer.cutShort);
}

TEST(AskForIds, AsksOneByOneForWhatIsLeftOutAndThenTakesItAsWithoutEntries) {
    ScriptedGateway gateway;
    gateway.leftOut = {"B", "C"};
    const Answer answer = askForIds({"A", "B", "C"}, WithoutEntries::isAnElement, std::ref(gateway));
    EXPECT_EQ(gateway.lists, (Texts{"A:B:C", "B", "B:B", "C", "C:C"}));
    EXPECT_EQ(elementsOf(answer), (Texts{"A/1", "B/0", "C/0"}));
}

TEST(AskForIds, TakesASingleIdWithoutElementAsWithoutEntries) {
    ScriptedGateway gateway;
    gateway.leftOut = {"A"};
    EXPECT_EQ(elementsOf(askForIds({"A"}, WithoutEntries::isAnElement, std::ref(gateway))), (Texts{"A/0"}));
    EXPECT_EQ(gateway.lists, (Texts{"A", "A:A"}));
}

TEST(AskForIds, FindsTheCodeOfASingleElementWithoutEntriesByAskingForItTwice) {
    const auto ask = [](const std::string& list) {
        Answer answer;
        if (list == "A:A") {
            answer.elements.push_back({"A", 3, {}});
            answer.cutShort = true;
        }
        return answer;
    };
    const Answer answer = askForIds({"A"}, WithoutEntries::isAnElement, ask);
    ASSERT_EQ(elementsOf(answer), (Texts{"A/0"}));
    EXPECT_EQ(answer.elements.front().code, 3);
    EXPECT_FALSE(answer.cutShort);
}

TEST(AskForIds, DoesNotAskTwiceForAnIdOfWhichTwoMakeNoList) {
    ScriptedGateway gateway;
    const std::string longId(20000, 'x');
    gateway.leftOut = {longId};
    EXPECT_EQ(elementsOf(askForIds({longId}, WithoutEntries::isAnElement, std::ref(gateway))), (Texts{longId + "/0"}));
    EXPECT_EQ(gateway.lists, (Texts{longId}));
}

TEST(AskForIds, NamesAStatisticOfWhichNothingIsSaid) {
    ScriptedGateway gateway;
    gateway.leftOut = {"B"};
    const Answer answer = askForIds({"A", "B"}, WithoutEntries::isNoAnswer, std::ref(gateway));
    EXPECT_EQ(elementsOf(answer), (Texts{"A/1"}));
    EXPECT_EQ(answer.unanswered, (Texts{"B"}));
}

TEST(AskForIds, KeepsWhatWasAnsweredBeforeTheConnectionWasLost) {
    ScriptedGateway gateway;
    gateway.leftOut = {"B"};
    gateway.losesConnectionAt = "C";
    Texts ids{"A", "B"};
    ids.emplace_back(32765, 'x');
    ids.emplace_back("C");
    ids.emplace_back("D");
    const Answer answer = askForIds(ids, WithoutEntries::isAnElement, std::ref(gateway));
    EXPECT_EQ(answer.code, STAPI_RC_SOCKET_ERROR);
    EXPECT_EQ(answer.stage, Failure::Stage::querying);
    EXPECT_EQ(answer.elements.size(), 3U);
}

TEST(AskForIds, DoesNotAskAgainWhenTheGatewayNamesItsElementsOtherwise) {
    int questions = 0;
    const auto ask = [&](const std::string&) {
        ++questions;
        Answer answer;
        answer.elements.push_back({"everything", 0, {{"x", ""}}});
        return answer;
    };
    const Answer answer = askForIds({"A", "B"}, WithoutEntries::isAnElement, ask);
    EXPECT_EQ(elementsOf(answer), (Texts{"everything/1"}));
    EXPECT_EQ(answer.unanswered, (Texts{"A", "B"}));
    EXPECT_EQ(questions, 1);
}

TEST(CompleteByGroup, AsksForTheGroupsThatWereNotReached) {
    ScriptedGateway gateway;
    Answer answer;
    answer.elements = {{"A", 0, {{"A.x", "1"}}}, {"B", 0, {}}};
    answer.cutShort = true;
    completeByGroup(answer, {"A", "B", "C", "D"}, std::ref(gateway));
    EXPECT_EQ(gateway.lists, (Texts{"C", "D"}));
    EXPECT_EQ(elementsOf(answer), (Texts{"A/1", "B/0", "C/1", "D/1"}));
    EXPECT_FALSE(answer.cutShort);
}

TEST(CompleteByGroup, LeavesAnAnswerAloneWhoseElementsAreNoGroups) {
    ScriptedGateway gateway;
    Answer answer;
    answer.elements = {{"everything", 0, {}}};
    answer.cutShort = true;
    completeByGroup(answer, {"A", "B"}, std::ref(gateway));
    EXPECT_TRUE(gateway.lists.empty());
    EXPECT_TRUE(answer.cutShort);
}

TEST(CompleteByGroup, LeavesAWholeAnswerAlone) {
    ScriptedGateway gateway;
    Answer answer;
    answer.elements = {{"A", 0, {}}};
    completeByGroup(answer, {"A", "B"}, std::ref(gateway));
    EXPECT_TRUE(gateway.lists.empty());
}

// One element "A" with two statistics, of which bytes may be missing.
struct BrokenOff {
    std::string firstId = "a.one";
    std::string firstValue = "1";
    std::string secondId = "a.two";
    std::string secondValue = "2";
    uint32_t announcedEntries = 2;
    uint32_t announcedElements = 1;
    int32_t code = 0;

    Answer read() const {
        ResultSetBytes bytes(announcedElements);
        const size_t a = bytes.addElement("A", static_cast<uint32_t>(code), announcedEntries);
        std::vector<size_t> places;
        for (const std::string& text : {firstId, firstValue, secondId, secondValue}) {
            places.push_back(bytes.addText(text));
        }
        ScriptedWalk<StatData> walk(STAPI_RC_END_OF_DATA);
        const auto add = [&](size_t id, const std::string& idText, size_t value, const std::string& valueText) {
            StatData record = statRecord(bytes, a, id, static_cast<uint32_t>(idText.size()), value,
                                         static_cast<uint32_t>(valueText.size()));
            record.queryElementRC = code;
            walk.add(record);
        };
        add(places[0], firstId, places[1], firstValue);
        add(places[2], secondId, places[3], secondValue);
        return readStatistics(std::ref(walk));
    }
};

void expectSuspectAt(const BrokenOff& reply, size_t element, size_t entry) {
    const Answer answer = reply.read();
    EXPECT_TRUE(needsConfirmation(answer));
    ASSERT_TRUE(answer.suspect.has_value());
    EXPECT_EQ(answer.suspect->element, element);
    EXPECT_EQ(answer.suspect->entry, entry);
}

TEST(BrokenOffReply, IsNotSuspectedWhereEverythingIsThere) {
    EXPECT_FALSE(needsConfirmation(BrokenOff{}.read()));
}

TEST(BrokenOffReply, MayHaveMadeANulByteInAnId) {
    BrokenOff reply;
    reply.secondId = "a.t\0\0"s;
    expectSuspectAt(reply, 0, 1);
}

TEST(BrokenOffReply, MayHaveMadeANulByteInAValue) {
    BrokenOff reply;
    reply.firstValue = "\0"s;
    expectSuspectAt(reply, 0, 0);
}

TEST(BrokenOffReply, MayHaveMadeAnEmptyId) {
    BrokenOff reply;
    reply.secondId = "";
    reply.secondValue = "";
    expectSuspectAt(reply, 0, 1);
}

TEST(BrokenOffReply, MayHaveMadeAnEmptyValueAtTheEnd) {
    BrokenOff reply;
    reply.secondValue = "";
    expectSuspectAt(reply, 0, 1);
}

TEST(BrokenOffReply, DidNotMakeAnEmptyValueBehindWhichMoreArrived) {
    BrokenOff reply;
    reply.firstValue = "";
    EXPECT_FALSE(needsConfirmation(reply.read()));
}

TEST(BrokenOffReply, MayHaveMadeTheEndOfAFailedElementsCodeZero) {
    BrokenOff reply;
    reply.code = -256;
    expectSuspectAt(reply, 0, 0);
}

TEST(BrokenOffReply, IsIncompleteWhenItAnnouncesMoreEntriesThanItHolds) {
    BrokenOff entries;
    entries.announcedEntries = 3;
    expectSuspectAt(entries, 0, 2);
    EXPECT_TRUE(entries.read().incomplete);
}

TEST(BrokenOffReply, MayHideAnElementThatTheWalkDoesNotReach) {
    BrokenOff one;
    one.announcedElements = 2;
    expectSuspectAt(one, 0, 2);
    EXPECT_TRUE(one.read().hidesLastElement);
    EXPECT_FALSE(one.read().cutShort);
    BrokenOff two;
    two.announcedElements = 3;
    EXPECT_FALSE(two.read().hidesLastElement);
    EXPECT_TRUE(two.read().cutShort);
}

TEST(BrokenOffReply, MayHaveLeftNoElementAtAll) {
    ScriptedWalk<IdData> walk(STAPI_RC_END_OF_DATA);
    EXPECT_TRUE(needsConfirmation(readIds(std::ref(walk))));
}

TEST(KeepWhatIsCertain, TakesAwayTheFirstSuspectEntryAndWhatFollows) {
    Answer answer;
    answer.elements = {{"A", 0, {{"a", "1"}, {"b", "2"}}}, {"B", 0, {{"c", "3"}}}};
    answer.suspect = zulstat::AnswerPlace{0, 1};
    keepWhatIsCertain(answer);
    ASSERT_EQ(answer.elements.size(), 1U);
    EXPECT_EQ(idsOf(answer.elements[0]), (Texts{"a"}));
}

TEST(KeepWhatIsCertain, TakesAwayAnElementOfWhichNothingIsCertain) {
    Answer answer;
    answer.elements = {{"A", 0, {{"a", "1"}}}, {"B", -256, {}}};
    answer.suspect = zulstat::AnswerPlace{1, 0};
    keepWhatIsCertain(answer);
    EXPECT_EQ(elementsOf(answer), (Texts{"A/1"}));
}

}  // namespace
