#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "tests/explorer/core/AskedTrace.h"
#include "tests/support/TraceText.h"
#include "tests/trace/support/Filters.h"
#include "tests/trace/support/NotedTrace.h"
#include "tests/trace/support/RandomTrace.h"

namespace marrowfin::testing {
namespace {

using nlohmann::json;
using ::testing::ElementsAre;

json AsPair(Place place) { return {place.column, place.row}; }

json Range(const json& first, const json& last) { return json::array({first, last}); }

// The conditions of a filter in the words of a question.
json ConditionsJson(const EventFilter& filter) {
  json words = {{"records", {filter.firstRecord, std::min<uint64_t>(filter.lastRecord, 1U << 30)}},
                {"cycles", {std::to_string(filter.firstCycle), std::to_string(filter.lastCycle)}},
                {"steps", {filter.firstStep, std::min<uint64_t>(filter.lastStep, 1U << 30)}},
                {"skipTo", std::to_string(filter.skipTo)},
                {"types", json::array()}};
  for (const auto& [wanted, name] :
       {std::pair(filter.fires, "fire"), {filter.sends, "send"}, {filter.switches, "switch"}}) {
    if (wanted) {
      words["types"].push_back(name);
    }
  }
  if (filter.thread) {
    words["thread"] = *filter.thread;
  }
  for (const ThreadRange& range : filter.threads) {
    words["threads"].push_back(Range(range.first, range.last));
  }
  if (filter.region) {
    words["rect"] = {filter.region->first.column, filter.region->first.row,
                     filter.region->last.column, filter.region->last.row};
  }
  return words;
}

json FilterJson(const EventFilter& filter) {
  json words = ConditionsJson(filter);
  for (const EventFilter& other : filter.without) {
    words["without"].push_back(ConditionsJson(other));
  }
  return words;
}

class EventAnswersTest : public ::testing::Test {
 protected:
  static constexpr uint32_t SIDE = 16;

  void Begin(const std::vector<std::pair<std::string, std::string>>& beside = {}) {
    asked = std::make_unique<AskedTrace>(Encode(events), beside, ArrayShape(2, 2, 4));
    asked->UntilReady();
  }

  // The records of a list that is asked for page by page.
  std::vector<uint64_t> List(const json& filter, bool back, uint64_t page) const {
    std::vector<uint64_t> records;
    json question = {{"ask", "events"},
                     {"filter", filter},
                     {"back", back},
                     {"from", back ? events.size() : 0},
                     {"count", page}};
    for (bool more = true; more;) {
      const ReadAnswer answer = asked->Ask(question);
      EXPECT_EQ(answer.Code(), "") << answer.head.dump();
      const std::vector<double> found = answer.Of("record");
      EXPECT_LE(found.size(), page);
      records.insert(back ? records.begin() : records.end(), found.begin(), found.end());
      more = answer.head.contains("more") && answer.head["more"].get<bool>();
      question["from"] = answer.head["next"];
    }
    return records;
  }

  std::mt19937 random{7};
  std::vector<Event> events = RandomEvents(random, {});
  std::unique_ptr<AskedTrace> asked;
};

TEST_F(EventAnswersTest, ListsOfAnyFilterArePagedThroughBothWays) {
  Begin();
  for (int i = 0; i < 60; ++i) {
    const EventFilter filter = RandomFilter(random, events, SIDE);
    const std::vector<uint64_t> expected = Expected(events, filter);
    const uint64_t page = 1 + random() % 300;
    ASSERT_EQ(List(FilterJson(filter), false, page), expected) << FilterJson(filter).dump();
    ASSERT_EQ(List(FilterJson(filter), true, page), expected) << FilterJson(filter).dump();
  }
}

TEST_F(EventAnswersTest, EveryFieldOfAnEventIsTold) {
  Begin();
  const ReadAnswer answer = asked->Ask({{"ask", "events"}, {"from", 10}, {"count", 200}});
  for (size_t i = 0; i < 200; ++i) {
    const Event& event = events[10 + i];
    EXPECT_EQ(answer.Of("record")[i], 10 + i);
    EXPECT_EQ(answer.Wide("cycle")[i], event.cycle);
    EXPECT_EQ(answer.Of("thread")[i], event.thread);
    EXPECT_EQ(answer.Of("type")[i], event.type);
    EXPECT_EQ(answer.Of("at")[2 * i], event.at.column);
    EXPECT_EQ(answer.Of("at")[2 * i + 1], event.at.row);
    if (event.type == SEND_RECORD) {
      EXPECT_EQ(answer.Of("to")[2 * i], event.to.column);
      EXPECT_EQ(answer.Of("to")[2 * i + 1], event.to.row);
    }
  }
}

TEST_F(EventAnswersTest, CountsAreThoseOfTheEvents) {
  Begin();
  for (int i = 0; i < 60; ++i) {
    const EventFilter filter = RandomFilter(random, events, SIDE);
    const std::vector<uint64_t> expected = Expected(events, filter);
    const uint64_t before = random() % (events.size() + 1);
    const uint64_t nth = random() % (expected.size() + 2);
    const json head = asked
                          ->Ask({{"ask", "count"},
                                 {"filter", FilterJson(filter)},
                                 {"before", before},
                                 {"nth", nth}})
                          .head;
    ASSERT_EQ(head["count"], expected.size()) << FilterJson(filter).dump();
    EXPECT_EQ(head["exact"], true);
    EXPECT_EQ(head["before"],
              std::lower_bound(expected.begin(), expected.end(), before) - expected.begin());
    EXPECT_EQ(head["record"], nth < expected.size() ? json(expected[nth]) : json());
    const ReadAnswer list =
        asked->Ask({{"ask", "events"}, {"filter", FilterJson(filter)}, {"nth", nth}, {"count", 3}});
    for (size_t row = 0; row < list.Of("record").size(); ++row) {
      EXPECT_EQ(list.Of("record")[row], expected[nth + row]);
    }
    EXPECT_EQ(list.Of("record").size(),
              std::min<size_t>(3, expected.size() - std::min<size_t>(expected.size(), nth)));
  }
}

// In which of equal bins of all cycles events are.
std::vector<double> BinsWith(const std::vector<Event>& events, const std::vector<uint64_t>& found,
                             const std::vector<uint64_t>& firsts) {
  std::vector<double> hits(firsts.size());
  for (const uint64_t record : found) {
    const auto behind = std::upper_bound(firsts.begin(), firsts.end(), events[record].cycle);
    hits[static_cast<size_t>(behind - firsts.begin()) - 1] = 1;
  }
  return hits;
}

TEST_F(EventAnswersTest, HitsAreInTheBinsThatHaveEventsOfTheFilter) {
  for (const bool falling : {false, true}) {
    RandomTraceOptions options;
    options.records = 3000;
    options.falling = falling;
    events = RandomEvents(random, options);
    const auto last = std::max_element(events.begin(), events.end(),
                                       [](auto& a, auto& b) { return a.cycle < b.cycle; });
    Begin();
    for (int i = 0; i < 60; ++i) {
      const EventFilter filter = i % 4 == 0 ? EventFilter() : RandomFilter(random, events, SIDE);
      const json question = {{"ask", "hits"},
                             {"filter", FilterJson(filter)},
                             {"first", "0"},
                             {"last", std::to_string(last->cycle)},
                             {"bins", 1 + random() % 40}};
      const ReadAnswer answer = asked->Ask(question);
      ASSERT_EQ(answer.Code(), "") << answer.head.dump();
      ASSERT_EQ(answer.Of("hit"), BinsWith(events, Expected(events, filter), answer.Wide("first")))
          << question.dump();
    }
    const json behind = {
        {"cycles", {std::to_string(last->cycle + 9), std::to_string(last->cycle + 9)}}};
    EXPECT_EQ(
        asked
            ->Ask({{"ask", "hits"}, {"filter", behind}, {"first", "0"}, {"last", "9"}, {"bins", 1}})
            .Of("hit"),
        std::vector<double>{0});
  }
}

TEST_F(EventAnswersTest, MessagesAreFoundByTheirSenderAndTheirReceiver) {
  Begin();
  const auto send = std::find_if(events.begin(), events.end(),
                                 [](const Event& e) { return e.type == SEND_RECORD; });
  for (const auto& [byFrom, byTo] : {std::pair(true, false), {false, true}, {true, true}}) {
    json filter;
    std::vector<uint64_t> expected;
    for (size_t i = 0; i < events.size(); ++i) {
      const Event& e = events[i];
      if (e.type == SEND_RECORD && (!byFrom || e.at == send->at) && (!byTo || e.to == send->to)) {
        expected.push_back(i);
      }
    }
    if (byFrom) {
      filter["from"] = AsPair(send->at);
    }
    if (byTo) {
      filter["to"] = AsPair(send->to);
    }
    EXPECT_EQ(List(filter, false, 7), expected);
    EXPECT_EQ(asked->Ask({{"ask", "count"}, {"filter", filter}}).head["count"], expected.size());
  }
  EXPECT_EQ(
      asked->Ask({{"ask", "count"}, {"filter", {{"from", {0, 0}}, {"place", {0, 0}}}}}).Code(),
      "bad-question");
}

TEST_F(EventAnswersTest, WhatIsLeftOutIsOfTheShapeTooAndStandsBesideEndsOfMessages) {
  Begin();
  const json outside = {{"without", json::array({{{"cluster", {1, 0}}}, {{"types", {"fire"}}}})}};
  EventFilter filter;
  filter.without.resize(2);
  filter.without[0].region = Region::Cluster(ArrayShape(2, 2, 4), 1, 0);
  filter.without[1].switches = filter.without[1].sends = false;
  EXPECT_EQ(List(outside, false, 2000), Expected(events, filter));
  const auto send = std::find_if(events.begin(), events.end(),
                                 [](const Event& e) { return e.type == SEND_RECORD; });
  json fromThere = {{"from", AsPair(send->at)}};
  const std::vector<uint64_t> all = List(fromThere, false, 2000);
  fromThere["without"] =
      json::array({{{"threads", json::array({Range(send->thread, send->thread)})}}});
  std::vector<uint64_t> expected;
  std::copy_if(all.begin(), all.end(), std::back_inserter(expected),
               [&](uint64_t record) { return events[record].thread != send->thread; });
  EXPECT_LT(expected.size(), all.size());
  EXPECT_EQ(List(fromThere, true, 7), expected);
}

TEST_F(EventAnswersTest, ListsOfThreadsAndOfWhatIsLeftOutAreBelievedInNothing) {
  Begin();
  const auto inner = [](const json& filter) { return json{{"without", json::array({filter})}}; };
  for (const json& filter : std::vector<json>{{{"threads", json::array()}},
                                              {{"threads", 3}},
                                              {{"threads", {0, 1}}},
                                              {{"threads", json::array({Range(1, 0)})}},
                                              {{"threads", json::array({{0, 1, 2}})}},
                                              {{"threads", {Range(0, uint64_t{1} << 32)}}},
                                              {{"threads", json::array({Range("0", "1")})}},
                                              {{"threads", std::vector<json>(257, Range(0, 1))}},
                                              {{"without", {{"thread", 1}}}},
                                              {{"without", json::array({3})}},
                                              {{"without", std::vector<json>(17, json::object())}},
                                              inner({{"threads", json::array()}}),
                                              inner({{"from", {0, 0}}}),
                                              inner({{"notes", json::array()}}),
                                              inner({{"cluster", {2, 0}}}),
                                              inner(inner({{"thread", 1}}))}) {
    EXPECT_EQ(asked->Ask({{"ask", "count"}, {"filter", filter}}).Code(), "bad-question")
        << filter.dump();
  }
  EXPECT_EQ(asked->Ask({{"ask", "count"}, {"filter", inner(json::object())}}).head["count"], 0)
      << "everything is left out";
}

TEST_F(EventAnswersTest, DomainsAndClustersAreThoseOfTheShape) {
  Begin();
  const ArrayShape shape(2, 2, 4);
  for (const auto& [words, region] :
       {std::pair(json{{"domain", {3, 1}}}, Region::Domain(shape, 3, 1)),
        {json{{"cluster", {1, 0}}}, Region::Cluster(shape, 1, 0)},
        {json{{"place", {5, 6}}}, Region::Element({5, 6})}}) {
    EventFilter filter;
    filter.region = region;
    EXPECT_EQ(List(words, false, 2000), Expected(events, filter)) << words.dump();
  }
  EXPECT_EQ(asked->Ask({{"ask", "count"}, {"filter", {{"cluster", {2, 0}}}}}).Code(),
            "bad-question");
}

TEST_F(EventAnswersTest, WhatIsNotedOfEventsIsAskedAndTold) {
  const NotedEvents noted = RandomNotes(random, events);
  Begin({{".notes", NotesBytes(noted, random, 100)}});
  const ReadAnswer all =
      asked->Ask({{"ask", "events"}, {"from", 0}, {"count", 1000}, {"notes", true}});
  ASSERT_EQ(all.Code(), "") << all.head.dump();
  const std::vector<json> attributes = asked->Ask({{"ask", "trace"}}).head["attributes"];
  ASSERT_EQ(attributes.size(), size_t{NOTE_ATTRIBUTES});
  EXPECT_EQ(attributes[KIND]["type"], "name");
  EXPECT_EQ(attributes[PACKET]["type"], "number");
  EXPECT_EQ(attributes[CREATED]["type"], "cycle");
  EXPECT_EQ(attributes[ENERGY]["type"], "real");
  EXPECT_EQ(attributes[CONSUMES]["type"], "records");
  const std::string packet = attributes[PACKET]["name"];
  for (size_t i = 0; i < events.size(); ++i) {
    const std::vector<uint64_t>& values = noted.values[PACKET][i];
    ASSERT_EQ(all.Of("has." + packet)[i], values.empty() ? 0 : 1) << i;
    if (!values.empty()) {
      ASSERT_EQ(all.Wide("note." + packet)[i], values[0]) << i;
    }
  }
  const auto one = std::find_if(noted.values[PACKET].begin(), noted.values[PACKET].end(),
                                [](const auto& values) { return !values.empty(); });
  std::vector<uint64_t> expected;
  for (size_t i = 0; i < events.size(); ++i) {
    if (noted.values[PACKET][i] == *one) {
      expected.push_back(i);
    }
  }
  const json filter = {
      {"notes", json::array({{{"attribute", packet}, {"value", std::to_string(one->at(0))}}})}};
  EXPECT_EQ(List(filter, false, 5), expected);
  EXPECT_EQ(List(filter, true, 5), expected);
  const json head = asked->Ask({{"ask", "count"}, {"filter", filter}, {"nth", 0}}).head;
  EXPECT_EQ(head["count"], expected.size());
  EXPECT_EQ(head["record"], expected[0]);
  const json unknown = {{"notes", json::array({{{"attribute", "colour"}, {"value", "1"}}})}};
  EXPECT_EQ(asked->Ask({{"ask", "count"}, {"filter", unknown}}).Code(), "bad-question");
}

TEST_F(EventAnswersTest, WhatIsNotedOfEventsAroundAPieceIsTold) {
  RandomTraceOptions options;
  options.shape = ArrayShape(1, 1, 2);
  events = RandomEvents(random, options);
  const NotedEvents noted = RandomNotes(random, events);
  Begin({{".notes", NotesBytes(noted, random, 100)}});
  const json attributes = asked->Ask({{"ask", "trace"}}).head["attributes"];
  const Event& middle = *std::find_if(events.begin() + 500, events.end(),
                                      [](const Event& e) { return e.type == FIRE_RECORD; });
  const ReadAnswer piece = asked->Ask({{"ask", "piece"},
                                       {"piece", {{"pe", AsPair(middle.at)}}},
                                       {"reading", "natural"},
                                       {"cycle", std::to_string(middle.cycle)}});
  ASSERT_EQ(piece.Code(), "") << piece.head.dump();
  ASSERT_GT(piece.head["around"].size(), 3U);
  for (const json& event : piece.head["around"]) {
    const size_t record = event["record"];
    const auto expect = [&](int attribute, const json& told, const std::string& member) {
      const std::vector<uint64_t>& values = noted.values[attribute][record];
      ASSERT_EQ(told.contains(member), !values.empty()) << record;
      if (!values.empty()) {
        const json& names = attributes[attribute]["names"];
        const std::string digits = std::to_string(values[0]);
        EXPECT_EQ(told[member], names.contains(digits) ? names[digits] : json(digits));
      }
    };
    expect(PACKET, event["notes"], attributes[PACKET]["name"]);
    expect(KIND, event, "kind");
  }
}

TEST_F(EventAnswersTest, NotesThatEndBeforeTheirTraceSayWhere) {
  const std::vector<Event> half(events.begin(), events.begin() + 400);
  const NotedEvents noted = RandomNotes(random, half);
  const std::string bytes = NotesBytes(noted, random, 100);
  Begin({{".notes", bytes}});
  const json end = asked->Ask({{"ask", "trace"}}).head["notesEnd"];
  ASSERT_TRUE(end.is_object());
  EXPECT_EQ(end["record"], 400);
  EXPECT_EQ(end["message"], "the notes end before the trace");
  events.resize(400);
  Begin({{".notes", bytes}});
  EXPECT_TRUE(asked->Ask({{"ask", "trace"}}).head["notesEnd"].is_null());
}

TEST_F(EventAnswersTest, WithoutNotesNothingCanBeAskedOfThem) {
  Begin();
  const json filter = {{"notes", json::array({{{"attribute", "packet"}, {"value", "1"}}})}};
  EXPECT_EQ(asked->Ask({{"ask", "count"}, {"filter", filter}}).Code(), "not-there");
}

TEST_F(EventAnswersTest, TheNextEventOfAPieceIsFoundBothWays) {
  const std::string text =
      "fire 1 0 0 0\nsend 2 0 0 0 1 0\nswitch 3 0 4 4\nsend 4 0 1 0 0 0\nfire 5 0 1 0\n"
      "send 6 0 1 0 1 1\nswitch 7 0 4 4\n";
  const AskedTrace here(TraceBytes(text), {}, ArrayShape(1, 2, 4));
  here.UntilReady();
  const auto next = [&](const json& piece, uint64_t record, bool back) {
    return here.Ask({{"ask", "next"}, {"piece", piece}, {"record", record}, {"back", back}})
        .head["event"];
  };
  const json pe = {{"pe", {0, 0}}};
  EXPECT_EQ(next(pe, 0, false)["record"], 0);
  EXPECT_EQ(next(pe, 1, false)["to"], json({1, 0}));
  EXPECT_EQ(next(pe, 2, false)["record"], 3);
  EXPECT_TRUE(next(pe, 4, false).is_null());
  EXPECT_EQ(next(pe, 3, true)["record"], 1);
  const json its = {{"switch", {0, 0}}};
  EXPECT_EQ(next(its, 0, false)["record"], 2);
  EXPECT_EQ(next(its, 0, false)["type"], "switch");
  EXPECT_EQ(next(its, 7, true)["record"], 6);
  const json link = {{"link", {1, 0, "left"}}};
  EXPECT_EQ(next(link, 0, false)["record"], 3);
  EXPECT_TRUE(next(link, 4, false).is_null());
  EXPECT_EQ(next({{"domain", {0, 0}}}, 4, false)["record"], 4);
  EXPECT_EQ(here.Ask({{"ask", "next"}, {"piece", {{"pe", {8, 0}}}}, {"record", 0}}).Code(),
            "bad-question");
  EXPECT_EQ(
      here.Ask({{"ask", "next"}, {"piece", pe}, {"record", 0}, {"filter", {{"place", {1, 0}}}}})
          .Code(),
      "bad-question")
      << "both cannot be narrowed by";
  EXPECT_EQ(here.Ask({{"ask", "next"}, {"piece", json::object()}, {"record", 0}}).Code(),
            "bad-question");
  EXPECT_EQ(here.Ask({{"ask", "next"}, {"piece", {{"link", {0, 0, "up"}}}}, {"record", 0}}).Code(),
            "");
}

TEST_F(EventAnswersTest, ALinkOfAnArrayOfTwoClustersJoinsTheClusters) {
  const AskedTrace here(TraceBytes("send 1 0 0 0 1 0\nsend 2 0 1 1 2 0\nsend 3 0 2 0 1 1\n"), {},
                        ArrayShape({2, 1}, {1, 1}, {2, 2}));
  here.UntilReady();
  const auto next = [&](const json& link) {
    return here.Ask({{"ask", "next"}, {"piece", {{"link", link}}}, {"record", 0}});
  };
  EXPECT_EQ(next({0, 0, "right"}).head["event"]["record"], 1);
  EXPECT_EQ(next({1, 0, "left"}).head["event"]["record"], 2);
  EXPECT_EQ(next({2, 0, "left"}).Code(), "bad-question") << "there are two clusters";
}

}  // namespace
}  // namespace marrowfin::testing
