#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>
#include <random>

#include "tests/trace/support/RandomTrace.h"
#include "trace/read/Decode.h"

namespace marrowfin::testing {
namespace {

// Everything that a decoder leaves behind.
struct Outcome {
  size_t stopped = 0;
  std::unique_ptr<Columns> columns = std::make_unique<Columns>();
};

Outcome RunDecoder(DecodeFunction& decode, const std::string& bytes) {
  Outcome outcome;
  // A copy of exactly that size on the heap, so that a sanitizer sees reads past the end.
  const std::unique_ptr<uint8_t[]> copy(new uint8_t[bytes.size()]);
  std::copy(bytes.begin(), bytes.end(), copy.get());
  const uint8_t* end = copy.get() + bytes.size();
  const uint8_t* next = decode(copy.get(), end, *outcome.columns);
  outcome.stopped = static_cast<size_t>(next - copy.get());
  return outcome;
}

void ExpectSame(const Outcome& a, const Outcome& b) {
  ASSERT_EQ(a.stopped, b.stopped);
  ASSERT_EQ(a.columns->size, b.columns->size);
  EXPECT_EQ(a.columns->switches, b.columns->switches);
  EXPECT_EQ(a.columns->sends, b.columns->sends);
  EXPECT_TRUE(a.columns->maxFired == b.columns->maxFired);
  EXPECT_TRUE(a.columns->maxSent == b.columns->maxSent);
  EXPECT_TRUE(a.columns->maxSwitched == b.columns->maxSwitched);
  EXPECT_TRUE(a.columns->switchedBits == b.columns->switchedBits);
  EXPECT_EQ(a.columns->changes, b.columns->changes);
  EXPECT_EQ(a.columns->fell, b.columns->fell);
  for (size_t i = 0; i < a.columns->size; ++i) {
    ASSERT_EQ(a.columns->cycle[i], b.columns->cycle[i]) << i;
    ASSERT_EQ(a.columns->tag[i].type, b.columns->tag[i].type) << i;
    ASSERT_EQ(a.columns->tag[i].thread, b.columns->tag[i].thread) << i;
    ASSERT_TRUE(a.columns->at[i] == b.columns->at[i]) << i;
    ASSERT_TRUE(a.columns->to[i] == b.columns->to[i]) << i;
  }
}

// Values of every size, so that no byte of a field goes unseen.
std::vector<Event> WildEvents(std::mt19937& random, size_t count) {
  std::vector<Event> events = RandomEvents(random, {.records = count});
  for (Event& event : events) {
    event.cycle = static_cast<uint64_t>(random()) << (random() % 33) | random() % 3;
    event.thread = static_cast<uint32_t>(random()) >> random() % 32;
    event.at = {static_cast<uint32_t>(random()) >> random() % 32,
                static_cast<uint32_t>(random()) >> random() % 32};
    if (event.type == SEND_RECORD) {
      event.to = {static_cast<uint32_t>(random()) >> random() % 32,
                  static_cast<uint32_t>(random())};
    }
  }
  return events;
}

// Says so where the comparisons below compare the portable decoder with itself.
TEST(DecodeTest, ThisMachineRunsBothDecoders) {
  if (!HasAvx2()) {
    GTEST_SKIP() << "this processor has no AVX2: only the portable decoder is tested";
  }
}

TEST(DecodeTest, Avx2CanBeRuledOutAndInAgain) {
  const bool has = HasAvx2();
  AllowAvx2(false);
  EXPECT_FALSE(HasAvx2());
  std::mt19937 random(8);
  const std::string bytes = Encode(WildEvents(random, 50));
  ExpectSame(RunDecoder(DecodePortable, bytes), RunDecoder(DecodeBest, bytes));
  AllowAvx2(has);
  EXPECT_EQ(HasAvx2(), has);
}

// Every other suite relies on it, see PortableDecoder.cpp.
TEST(DecoderChoiceTest, PortableDecoderIsUsedWhereItIsWanted) {
  const char* const decoder = std::getenv("MARROWFIN_TEST_DECODER");
  EXPECT_FALSE(decoder != nullptr && HasAvx2());
}

TEST(DecodeTest, PortableDecoderDeliversEveryField) {
  std::mt19937 random(1);
  const std::vector<Event> events = WildEvents(random, Columns::CAPACITY - 6);
  const Outcome outcome = RunDecoder(DecodePortable, Encode(events));
  ASSERT_EQ(outcome.columns->size, events.size());
  size_t switches = 0;
  size_t changes = 0;
  Place maxFired;
  Place maxSwitched;
  Place bits;
  for (size_t i = 0; i < events.size(); ++i) {
    EXPECT_EQ(outcome.columns->cycle[i], events[i].cycle);
    EXPECT_EQ(outcome.columns->tag[i].type, events[i].type);
    EXPECT_EQ(outcome.columns->tag[i].thread, events[i].thread);
    EXPECT_TRUE(outcome.columns->at[i] == events[i].at);
    EXPECT_TRUE(outcome.columns->to[i] == events[i].to);
    switches += events[i].type == SWITCH_RECORD;
    changes += i > 0 && events[i].cycle != events[i - 1].cycle;
    if (events[i].type == SWITCH_RECORD) {
      maxSwitched.column = std::max(maxSwitched.column, events[i].at.column - 4);
      maxSwitched.row = std::max(maxSwitched.row, events[i].at.row - 4);
      bits.column |= events[i].at.column - 4;
      bits.row |= events[i].at.row - 4;
    }
    if (events[i].type == FIRE_RECORD) {
      maxFired.column = std::max(maxFired.column, events[i].at.column);
      maxFired.row = std::max(maxFired.row, events[i].at.row);
    }
  }
  EXPECT_EQ(outcome.columns->switches, switches);
  EXPECT_EQ(outcome.columns->changes, changes);
  EXPECT_TRUE(outcome.columns->maxFired == maxFired);
  EXPECT_TRUE(outcome.columns->maxSwitched == maxSwitched);
  EXPECT_TRUE(outcome.columns->switchedBits == bits);
  EXPECT_TRUE(outcome.columns->fell);
  EXPECT_EQ(outcome.columns->Bytes(), Encode(events).size());
}

TEST(DecodeTest, BothDecodersAgreeOnRecordsOfAnyValue) {
  std::mt19937 random(2);
  for (int round = 0; round < 200; ++round) {
    const std::string bytes = Encode(WildEvents(random, random() % 40));
    ExpectSame(RunDecoder(DecodePortable, bytes), RunDecoder(DecodeBest, bytes));
  }
}

TEST(DecodeTest, BothDecodersStopAtTheSameByteOfACutTrace) {
  std::mt19937 random(3);
  const std::string bytes = Encode(WildEvents(random, 12));
  for (size_t size = 0; size <= bytes.size(); ++size) {
    ExpectSame(RunDecoder(DecodePortable, bytes.substr(0, size)),
               RunDecoder(DecodeBest, bytes.substr(0, size)));
  }
}

TEST(DecodeTest, BothDecodersStopAtTheSameByteWhenAnyByteIsFlipped) {
  std::mt19937 random(4);
  const std::string bytes = Encode(WildEvents(random, 10));
  for (size_t at = 0; at < bytes.size(); ++at) {
    for (int bit = 0; bit < 8; ++bit) {
      std::string flipped = bytes;
      flipped[at] = static_cast<char>(flipped[at] ^ 1 << bit);
      ExpectSame(RunDecoder(DecodePortable, flipped), RunDecoder(DecodeBest, flipped));
    }
  }
}

TEST(DecodeTest, FallingCyclesAreSeenWhereverTheyStand) {
  std::mt19937 random(6);
  std::vector<Event> events = RandomEvents(random, {.records = 40});
  for (size_t i = 0; i < events.size(); ++i) {
    events[i].cycle = ~uint64_t{0} - 100 + i / 3;
  }
  EXPECT_FALSE(RunDecoder(DecodeBest, Encode(events)).columns->fell);
  for (size_t at = 1; at < events.size(); ++at) {
    // Below as numbers without a sign, not below as numbers with one, and the other way round.
    for (const uint64_t lower : {events[at - 1].cycle - 1, uint64_t{1}}) {
      std::vector<Event> falling = events;
      falling[at].cycle = lower;
      EXPECT_TRUE(RunDecoder(DecodePortable, Encode(falling)).columns->fell) << at;
      EXPECT_TRUE(RunDecoder(DecodeBest, Encode(falling)).columns->fell) << at;
    }
  }
}

TEST(DecodeTest, BatchMayBeFilledInPieces) {
  std::mt19937 random(7);
  const std::vector<Event> events = WildEvents(random, 60);
  const std::string bytes = Encode(events);
  const Outcome whole = RunDecoder(DecodePortable, bytes);
  const auto* data = reinterpret_cast<const uint8_t*>(bytes.data());
  for (size_t cut = 0; cut <= bytes.size(); ++cut) {
    Outcome outcome;
    const uint8_t* next = DecodeBest(data, data + cut, *outcome.columns);
    next = DecodeBest(next, data + bytes.size(), *outcome.columns);
    outcome.stopped = static_cast<size_t>(next - data);
    ExpectSame(outcome, whole);
  }
}

TEST(DecodeTest, DecodingStopsWhenTheBatchIsFull) {
  std::mt19937 random(5);
  const std::vector<Event> events = RandomEvents(random, {.records = Columns::CAPACITY + 10});
  const std::string bytes = Encode(events);
  const std::string whole =
      Encode({events.begin(), events.begin() + static_cast<ptrdiff_t>(Columns::CAPACITY)});
  for (DecodeFunction* decode : {DecodePortable, DecodeAvx2, DecodeBest}) {
    const Outcome outcome = RunDecoder(*decode, bytes);
    EXPECT_EQ(outcome.columns->size, Columns::CAPACITY);
    EXPECT_EQ(outcome.stopped, whole.size());
  }
}

}  // namespace
}  // namespace marrowfin::testing
