#include "explorer/core/FollowedTrace.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <new>
#include <random>
#include <stdexcept>

#include "tests/explorer/core/AskedTrace.h"
#include "tests/support/TraceText.h"
#include "tests/trace/support/RandomTrace.h"

namespace marrowfin::testing {
namespace {

using nlohmann::json;

std::string SomeFires(int count, int firstCycle = 1) {
  std::string text;
  for (int i = 0; i < count; ++i) {
    text += "fire " + std::to_string(firstCycle + i) + " 0 " + std::to_string(i % 4) + " 0\n";
  }
  return TraceBytes(text);
}

void AppendFile(const std::string& name, const std::string& bytes) {
  std::ofstream(name, std::ios::binary | std::ios::app) << bytes;
}

bool HasNews(const AskedTrace& asked, TraceNews::Kind kind) {
  const std::vector<TraceNews> news = asked.News();
  return std::any_of(news.begin(), news.end(),
                     [&](const TraceNews& item) { return item.kind == kind; });
}

uint64_t RecordsOf(const AskedTrace& asked) {
  const ReadAnswer answer = asked.Ask({{"ask", "trace"}});
  return answer.Code().empty() ? answer.head["records"].get<uint64_t>() : 0;
}

TEST(FollowedTraceTest, ATraceThatGrowsKeepsItsNameAndShowsWhatCame) {
  const AskedTrace asked(SomeFires(100));
  asked.UntilReady();
  const std::string name = asked.Status().fingerprint;
  AppendFile(asked.name, SomeFires(50, 101));
  asked.Until([&] { return RecordsOf(asked) == 150; });
  EXPECT_EQ(asked.Status().fingerprint, name);
  asked.Until([&] { return HasNews(asked, TraceNews::GROWN); });
  EXPECT_EQ(asked.Ask({{"ask", "state"}, {"reading", "natural"}, {"cycle", "150"}}).head["step"],
            150);
}

TEST(FollowedTraceTest, AnEmptyTraceIsAnsweredAndGrows) {
  const AskedTrace asked("");
  asked.UntilReady();
  EXPECT_EQ(RecordsOf(asked), 0U);
  AppendFile(asked.name, SomeFires(3));
  asked.Until([&] { return RecordsOf(asked) == 3; });
}

TEST(FollowedTraceTest, ARecordThatIsHalfWrittenIsTakenWhenItIsWhole) {
  const std::string bytes = SomeFires(10);
  const AskedTrace asked(bytes.substr(0, 100));
  asked.UntilReady();
  EXPECT_EQ(RecordsOf(asked), 3U);
  AppendFile(asked.name, bytes.substr(100));
  asked.Until([&] { return RecordsOf(asked) == 10; });
  EXPECT_TRUE(asked.Ask({{"ask", "trace"}}).head["end"].is_null());
}

// All of it but what is read when it is opened.
void DamageIndex(const std::string& name) {
  std::string bytes = ReadFile(name);
  constexpr size_t HEAD = 64;
  for (size_t i = HEAD; i < bytes.size() / 2; ++i) {
    bytes[i] = static_cast<char>(~bytes[i]);
  }
  std::fstream(name, std::ios::binary | std::ios::in | std::ios::out) << bytes;
}

TEST(FollowedTraceTest, ADamagedIndexIsMadeAnewAndTheQuestionIsAnsweredThen) {
  std::mt19937 random(3);
  RandomTraceOptions options;
  options.records = 300000;
  options.perCycle = 50;
  const AskedTrace asked(Encode(RandomEvents(random, options)));
  asked.UntilReady();
  const auto answerAt = [&](int step) {
    return asked.Ask({{"ask", "state"}, {"reading", "viewer"}, {"step", step}});
  };
  const std::vector<double> right = answerAt(5000).Of("elements");
  const std::shared_ptr<TraceView> damaged = asked.Status().view;
  const std::string sound = ReadFile(asked.name + ".mfindex");
  DamageIndex(asked.name + ".mfindex");
  bool isRefused = false;
  for (int step = 100; step < 5900 && !isRefused; step += 100) {
    const ReadAnswer answer = answerAt(step);
    isRefused = answer.Code() == "not-indexed-yet";
    ASSERT_TRUE(isRefused || answer.Code().empty()) << answer.head.dump();
  }
  ASSERT_TRUE(isRefused);
  asked.Until([&] { return asked.Status().view != damaged; });
  EXPECT_EQ(answerAt(5000).Of("elements"), right);
  EXPECT_EQ(ReadFile(asked.name + ".mfindex").size(), sound.size());
}

TEST(FollowedTraceTest, AnIndexThatWasMadeAnewIsNotMadeOnceMoreForQuestionsAboutTheOldOne) {
  const TempDir folder;
  const std::string name = folder.File("t.trace");
  WriteFile(name, SomeFires(100));
  FollowedTrace trace(name, 0, {}, {std::chrono::milliseconds(5), std::chrono::milliseconds(5)});
  const AskedTrace clock("");
  clock.Until([&] { return trace.Status().state == TraceStatus::READY; });
  const std::shared_ptr<TraceView> old = trace.Status().view;
  EXPECT_TRUE(trace.RebuildIndex(*old));
  clock.Until([&] { return trace.Status().view != old; });
  EXPECT_EQ(trace.Status().view->GetSummary().records, 100U);
  EXPECT_FALSE(trace.RebuildIndex(*old));
}

// Follows a trace whose first index makes whoever hears of it throw.
template <class Thrown>
void ExpectFailureAndRecovery(const Thrown& thrown, const std::string& reason) {
  const TempDir folder;
  const std::string name = folder.File("t.trace");
  WriteFile(name, SomeFires(100));
  std::atomic<bool> hasThrown = false;
  const auto news = [&](const TraceNews& item) {
    if (item.kind == TraceNews::INDEXED && !hasThrown.exchange(true)) {
      throw thrown;
    }
  };
  FollowedTrace trace(name, 0, news, {std::chrono::milliseconds(5), std::chrono::milliseconds(5)});
  const AskedTrace clock("");
  clock.Until([&] { return trace.Status().state == TraceStatus::FAILED; });
  EXPECT_EQ(trace.Status().failure.file, name);
  EXPECT_EQ(trace.Status().failure.reason, reason);
  AppendFile(name, SomeFires(50, 101));
  clock.Until([&] { return trace.Status().state == TraceStatus::READY; });
  EXPECT_EQ(trace.Status().view->GetSummary().records, 150U);
}

TEST(FollowedTraceTest, WhateverIsThrownEndsNeitherTheProgramNorTheFollowing) {
  ExpectFailureAndRecovery(std::bad_alloc(), "memory ran out");
  ExpectFailureAndRecovery(std::runtime_error("no such table"),
                           "the explorer met a mistake of its own: no such table");
  ExpectFailureAndRecovery(7, "the explorer met a mistake of its own");
}

TEST(FollowedTraceTest, AReplacedTraceIsAnotherOneAndTheOldNameSaysSo) {
  const AskedTrace asked(SomeFires(100));
  asked.UntilReady();
  const std::string old = asked.Status().fingerprint;
  WriteFile(asked.folder.File("new"), SomeFires(40, 7));
  std::filesystem::rename(asked.folder.File("new"), asked.name);
  asked.Until([&] { return HasNews(asked, TraceNews::CHANGED); });
  asked.UntilReady();
  EXPECT_NE(asked.Status().fingerprint, old);
  EXPECT_EQ(RecordsOf(asked), 40U);
  EXPECT_EQ(asked.Ask({{"ask", "trace"}, {"trace", old}}).Code(), "changed");
  const std::vector<TraceNews> news = asked.News();
  const auto told = std::find_if(news.begin(), news.end(), [](const TraceNews& item) {
    return item.kind == TraceNews::CHANGED;
  });
  EXPECT_EQ(told->fingerprint, old);
  EXPECT_EQ(told->now, asked.Status().fingerprint);
}

TEST(FollowedTraceTest, OfATraceThatIsReplacedAgainAndAgainTheLastNamesAreRemembered) {
  const AskedTrace asked(SomeFires(1));
  asked.UntilReady();
  const std::string first = asked.Status().fingerprint;
  std::string last = first;
  for (int i = 2; i <= 70; ++i) {
    const std::string before = asked.Status().fingerprint;
    WriteFile(asked.folder.File("new"), SomeFires(i, 1000 * i));
    std::filesystem::rename(asked.folder.File("new"), asked.name);
    asked.Until([&] {
      return asked.Status().state == TraceStatus::READY && asked.Status().fingerprint != before;
    });
    last = before;
  }
  EXPECT_EQ(asked.Status().was.size(), 64U);
  EXPECT_EQ(asked.Ask({{"ask", "trace"}, {"trace", last}}).Code(), "changed");
  EXPECT_NE(asked.Ask({{"ask", "trace"}, {"trace", first}}).Code(), "changed");
}

TEST(FollowedTraceTest, ATraceThatIsWrittenAnewWithTheSameStartIsAnotherOneToo) {
  const AskedTrace asked(SomeFires(100));
  asked.UntilReady();
  const std::string old = asked.Status().fingerprint;
  WriteFile(asked.folder.File("new"), SomeFires(120));
  std::filesystem::rename(asked.folder.File("new"), asked.name);
  asked.Until([&] { return RecordsOf(asked) == 120; });
  EXPECT_NE(asked.Status().fingerprint, old);
  EXPECT_EQ(asked.Ask({{"ask", "trace"}, {"trace", old}}).Code(), "changed");
}

TEST(FollowedTraceTest, ATruncatedTraceIsToldAndNeverAWrongAnswer) {
  const AskedTrace asked(SomeFires(1000));
  asked.UntilReady();
  const std::string old = asked.Status().fingerprint;
  std::filesystem::resize_file(asked.name, 28 * 10);
  while (!HasNews(asked, TraceNews::TRUNCATED)) {
    const ReadAnswer answer =
        asked.Ask({{"ask", "state"}, {"reading", "natural"}, {"cycle", "1000"}, {"trace", old}});
    const bool right =
        answer.Code() == "changed" || (answer.Code().empty() && answer.head["step"] == 1000);
    ASSERT_TRUE(right) << answer.head.dump();
  }
  asked.UntilReady();
  EXPECT_EQ(RecordsOf(asked), 10U);
}

TEST(FollowedTraceTest, AFileThatIsNotThereIsUnreadableUntilItIs) {
  const AskedTrace asked(SomeFires(10));
  asked.UntilReady();
  std::vector<TraceNews> news;
  const TempDir folder;
  const std::string name = folder.File("later.trace");
  OpenTraces traces({name}, {}, {std::chrono::milliseconds(5), std::chrono::milliseconds(5)});
  asked.Until([&] { return traces.Status()[0].state == TraceStatus::FAILED; });
  EXPECT_EQ(traces.Status()[0].failure.kind, Fault::SYSTEM);
  WriteFile(name, SomeFires(10));
  asked.Until([&] { return traces.Status()[0].state == TraceStatus::READY; });
}

TEST(FollowedTraceTest, WhatIsIndexedSoFarIsAnsweredAndTheRestIsToldToCome) {
  std::mt19937 random(3);
  RandomTraceOptions options;
  options.records = 400000;
  options.perCycle = 50;
  const AskedTrace asked(Encode(RandomEvents(random, options)));
  bool came = false;
  asked.Until([&] {
    const TraceStatus status = asked.Status();
    if (status.state == TraceStatus::INDEXING && status.view) {
      const ReadAnswer answer =
          asked.Ask({{"ask", "state"}, {"reading", "viewer"}, {"step", 7900}});
      came = came || answer.Code() == "not-indexed-yet";
      EXPECT_TRUE(answer.Code().empty() || answer.Code() == "not-indexed-yet") << answer.Code();
    }
    return status.state == TraceStatus::READY;
  });
  EXPECT_TRUE(came);
  EXPECT_TRUE(HasNews(asked, TraceNews::INDEXING));
  EXPECT_EQ(RecordsOf(asked), 400000U);
}

TEST(FollowedTraceTest, TwoFilesOfOneNameThatBeginAlikeAreTwoTraces) {
  const TempDir folder;
  std::filesystem::create_directories(folder.File("a"));
  std::filesystem::create_directories(folder.File("b"));
  WriteFile(folder.File("a/t.trace"), SomeFires(100));
  WriteFile(folder.File("b/t.trace"), SomeFires(200));
  const OpenTraces traces({folder.File("a/t.trace"), folder.File("b/t.trace")});
  const AskedTrace clock("");
  clock.Until([&] {
    return traces.Status()[0].state == TraceStatus::READY &&
           traces.Status()[1].state == TraceStatus::READY;
  });
  EXPECT_NE(traces.Status()[0].fingerprint, traces.Status()[1].fingerprint);
  const auto second = traces.Find(traces.Status()[1].fingerprint);
  EXPECT_EQ(std::get<std::shared_ptr<TraceView>>(second)->GetSummary().records, 200U);
}

TEST(FollowedTraceTest, AnotherProcessKnowsATraceByTheSameName) {
  const AskedTrace one(SomeFires(100));
  const AskedTrace other(SomeFires(100));
  one.UntilReady();
  other.UntilReady();
  EXPECT_EQ(one.Status().fingerprint, other.Status().fingerprint);
}

TEST(FollowedTraceTest, AnIndexThatIsKeptIsNotMadeAnew) {
  std::mt19937 random(4);
  RandomTraceOptions options;
  options.records = 300000;
  const AskedTrace first(Encode(RandomEvents(random, options)));
  first.UntilReady();
  const std::string index = first.name + ".mfindex";
  ASSERT_TRUE(std::filesystem::exists(index));
  const std::string hardLink = index + ".same";
  std::filesystem::create_hard_link(index, hardLink);
  const OpenTraces again({first.name});
  first.Until([&] { return again.Status()[0].state == TraceStatus::READY; });
  EXPECT_TRUE(std::filesystem::equivalent(index, hardLink)) << "another file has its name";
}

TEST(FollowedTraceTest, APackedTraceIsAnsweredLikeAPlainOne) {
  const TempDir folder;
  const std::string name = folder.File("t.trace");
  WriteFile(name, SomeFires(100));
  ASSERT_EQ(system(("gzip " + name).c_str()), 0);
  const OpenTraces traces({name + ".gz"});
  const AskedTrace clock("");
  clock.Until([&] { return traces.Status()[0].state == TraceStatus::READY; });
  EXPECT_EQ(traces.Status()[0].view->GetSummary().records, 100U);
  EXPECT_FALSE(std::filesystem::exists(name + ".gz.mfindex"));
}

}  // namespace
}  // namespace marrowfin::testing
