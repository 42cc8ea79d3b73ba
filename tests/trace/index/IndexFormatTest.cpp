#include "trace/index/IndexFormat.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <numeric>
#include <random>

#include "trace/base/Bytes.h"
#include "trace/index/IndexBuilder.h"
#include "trace/index/Pack.h"

namespace marrowfin::testing {
namespace {

TEST(BytesTest, NumbersComeBackAsTheyWere) {
  std::vector<uint64_t> numbers = {0, 1, 127, 128, 16383, 16384, ~uint64_t{0}, uint64_t{1} << 63};
  std::mt19937_64 random(1);
  for (int i = 0; i < 1000; ++i) {
    numbers.push_back(random() >> random() % 64);
  }
  ByteWriter writer;
  for (const uint64_t number : numbers) {
    writer.Number(number);
    writer.Signed(static_cast<int64_t>(number));
    writer.Text(std::to_string(number));
  }
  ByteReader reader(writer.Bytes().data(), writer.Bytes().size());
  for (const uint64_t number : numbers) {
    EXPECT_EQ(reader.Number(), number);
    EXPECT_EQ(reader.Signed(), static_cast<int64_t>(number));
    EXPECT_EQ(reader.Text(), std::to_string(number));
  }
  EXPECT_TRUE(reader.Good());
  EXPECT_TRUE(reader.AtEnd());
}

TEST(BytesTest, SmallNumbersTakeOneByteWhateverTheirSign) {
  for (const int64_t value : {0, 1, -1, 63, -64}) {
    ByteWriter writer;
    writer.Signed(value);
    EXPECT_EQ(writer.Bytes().size(), 1U) << value;
  }
  ByteWriter writer;
  writer.Number(300);
  EXPECT_EQ(writer.Bytes(), (std::vector<uint8_t>{0xAC, 0x02}));
}

TEST(BytesTest, WhatIsNoNumberIsNoGood) {
  const std::vector<std::vector<uint8_t>> bad = {
      {},
      {0x80},
      {0xFF, 0xFF},
      // Ten bytes hold 64 bits only where the last of them is 0 or 1.
      {0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x02},
      {0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x00},
  };
  for (const std::vector<uint8_t>& bytes : bad) {
    ByteReader reader(bytes.data(), bytes.size());
    EXPECT_EQ(reader.Number(), 0U);
    EXPECT_FALSE(reader.Good());
    EXPECT_EQ(reader.Number(), 0U) << "it stays no good";
    EXPECT_FALSE(reader.Good());
  }
}

TEST(BytesTest, CountsAreNeverMoreThanThereCanBe) {
  ByteWriter writer;
  writer.Number(3);
  writer.Number(1);
  writer.Number(2);
  writer.Number(3);
  const std::vector<uint8_t>& bytes = writer.Bytes();
  EXPECT_EQ(ByteReader(bytes.data(), bytes.size()).Count(3), 3U);
  ByteReader few(bytes.data(), bytes.size());
  EXPECT_EQ(few.Count(2), 0U);
  EXPECT_FALSE(few.Good());
  ByteReader cut(bytes.data(), bytes.size() - 1);
  EXPECT_EQ(cut.Count(3), 0U) << "two bytes are left, which are not three things";
  EXPECT_FALSE(cut.Good());
  ByteWriter text;
  text.Number(~uint64_t{0});
  ByteReader endless(text.Bytes().data(), text.Bytes().size());
  EXPECT_EQ(endless.Text(), "");
  EXPECT_FALSE(endless.Good());
}

TEST(PackTest, WhatIsPackedComesBack) {
  std::mt19937 random(2);
  for (const size_t size : {0, 1, 100, 70000}) {
    std::vector<uint8_t> raw(size);
    for (uint8_t& byte : raw) {
      byte = static_cast<uint8_t>(random() % 5);
    }
    const std::vector<uint8_t> packed = Pack(raw);
    std::vector<uint8_t> back;
    ASSERT_TRUE(Unpack(packed, size, back));
    EXPECT_EQ(back, raw);
    EXPECT_FALSE(Unpack(packed, size + 1, back)) << "a size that it is not";
    for (size_t cut = 0; cut < std::min<size_t>(packed.size(), 64); ++cut) {
      EXPECT_FALSE(Unpack({packed.data(), cut}, size, back)) << "cut to " << cut;
    }
  }
}

TEST(PackTest, DamagedBytesAreNotUnpackedToAnythingElse) {
  std::mt19937 random(3);
  std::vector<uint8_t> raw(500);
  for (uint8_t& byte : raw) {
    byte = static_cast<uint8_t>(random() % 7);
  }
  const std::vector<uint8_t> packed = Pack(raw);
  for (size_t at = 0; at < packed.size(); ++at) {
    for (int bit = 0; bit < 8; ++bit) {
      std::vector<uint8_t> damaged = packed;
      damaged[at] = static_cast<uint8_t>(damaged[at] ^ 1 << bit);
      std::vector<uint8_t> back;
      EXPECT_TRUE(!Unpack(damaged, raw.size(), back) || back == raw) << at << ", " << bit;
    }
  }
}

TEST(PackTest, CountsTakeTheNarrowestWidthThatHoldsThemAll) {
  std::mt19937_64 random(4);
  const std::vector<std::pair<uint64_t, unsigned>> widths = {{0, 0},
                                                             {1, 1},
                                                             {2, 2},
                                                             {3, 2},
                                                             {4, 4},
                                                             {15, 4},
                                                             {16, 8},
                                                             {255, 8},
                                                             {256, 16},
                                                             {65535, 16},
                                                             {65536, 32},
                                                             {~0U, 32},
                                                             {uint64_t{1} << 32, 64},
                                                             {~uint64_t{0}, 64}};
  for (const auto& [most, width] : widths) {
    for (const size_t size : {1, 7, 8, 9, 1000}) {
      std::vector<uint64_t> counts(size);
      for (uint64_t& count : counts) {
        count = most == 0 ? 0 : most == ~uint64_t{0} ? random() : random() % (most + 1);
      }
      counts[size / 2] = most;
      const std::vector<uint8_t> narrow = Narrow(std::span<const uint64_t>(counts));
      EXPECT_EQ(narrow[0], width);
      EXPECT_EQ(narrow.size(), 1 + (size * width + 7) / 8);
      std::vector<uint64_t> sums(size, 10);
      ASSERT_TRUE(AddNarrow(narrow, 1, sums));
      ASSERT_TRUE(AddNarrow(narrow, 1, sums));
      ASSERT_TRUE(AddNarrow(narrow, -1, sums));
      for (size_t i = 0; i < size; ++i) {
        ASSERT_EQ(sums[i], 10 + counts[i]) << "width " << width << ", " << i << " of " << size;
      }
    }
  }
}

TEST(PackTest, CountsOfAnotherLengthOrWidthAreRefused) {
  const std::vector<uint64_t> counts = {1, 2, 3, 4, 5};
  std::vector<uint8_t> narrow = Narrow(std::span<const uint64_t>(counts));
  ASSERT_EQ(narrow[0], 4);
  for (const size_t size : {0, 3, 7, 100}) {
    std::vector<uint64_t> sums(size);
    EXPECT_FALSE(AddNarrow(narrow, 1, sums)) << size;
  }
  std::vector<uint64_t> sums(5);
  for (const uint8_t width : {0, 1, 2, 3, 5, 8, 64, 128, 255}) {
    narrow[0] = width;
    EXPECT_FALSE(AddNarrow(narrow, 1, sums)) << static_cast<int>(width);
  }
  EXPECT_FALSE(AddNarrow({}, 1, sums));
  EXPECT_EQ(sums, std::vector<uint64_t>(5)) << "nothing was added";
}

TEST(TouchCodeTest, EveryCodeTellsThreadAgeAndChange) {
  for (const unsigned cap : {TouchCode::ELEMENT_CAP, TouchCode::SWITCH_CAP}) {
    EXPECT_FALSE(TouchCode(cap, 0).touched);
    for (unsigned thread = 0; thread < 6; ++thread) {
      for (unsigned age = 0; age < cap; ++age) {
        for (const bool change : {false, true}) {
          const TouchCode code(cap, TouchCode::Encode(cap, thread, age, change));
          EXPECT_TRUE(code.touched);
          EXPECT_EQ(code.thread, thread);
          EXPECT_EQ(code.age, age);
          EXPECT_EQ(code.change, change);
        }
      }
      for (const uint64_t old : {uint64_t{cap}, uint64_t{1000}, ~uint64_t{0}}) {
        const TouchCode code(cap, TouchCode::Encode(cap, thread, old, true));
        EXPECT_EQ(code.thread, thread);
        EXPECT_EQ(code.age, cap);
      }
    }
  }
}

// A directory with everything in it; whatever is asked of it holds.
IndexTables Sound() {
  IndexTables d;
  Summary& s = d.summary;
  s.records = 100;
  s.sends = 20;
  s.switches = 30;
  s.fires = 50;
  s.bytes = 100 * 28 + 20 * 8;
  s.firstCycle = 5;
  s.lastCycle = 70;
  s.maxCycle = 90;
  s.changes = 60;
  s.falls = 2;
  s.firstFall = 44;
  s.fired = {4, 3};
  s.sent = {2, 9000};
  s.array = {4, 8};
  s.far = {5, FarEnds::NOWHERE, 100};
  s.threads = {{0, 40}, {7, 20}, {70, 20}, {900, 10}};
  s.largeThreads = {900, 70};
  s.otherThreads = 10;
  s.switchPlaces = {{4, 4}, {12, 4}, {4, 12}};
  s.end.kind = Fault::CUT_RECORD;
  s.end.numbers = {22, FIRE_RECORD};
  d.atLastBoundary = s;
  d.atLastBoundary.records = 80;
  d.atLastBoundary.fires = 30;
  d.atLastBoundary.bytes = 80 * 28 + 20 * 8;
  d.atLastBoundary.threads = {{0, 40}, {7, 35}, {900, 5}};
  d.atLastBoundary.largeThreads = {900};
  d.atLastBoundary.otherThreads = 0;
  d.atLastBoundary.switchPlaces = {{4, 4}, {12, 4}};
  d.atLastBoundary.far.count = 3;
  d.trace.size = s.bytes + 11;
  d.trace.modified = 1234567;
  d.trace.changed = 2345678;
  d.trace.inode = 99;
  d.trace.edges = 0xABCDEF01;
  d.stride = 2048;
  d.entries = {{0, 0, 5, 0}, {50, 50 * 28, 90, 30}, {90, 90 * 28 + 80, 3, 59}};
  IndexBoundary b;
  b.record = 40;
  b.offset = 40 * 28;
  b.lastCycle = 33;
  b.changes = 20;
  b.sample = 77;
  b.columns = 2;
  b.rows = 4;
  b.switches = 1;
  b.threadSlots = 1 + Summary::SMALL_THREADS;
  b.keyframe = {8, 20, 9};
  for (IndexSection& section : b.node) {
    section = {28, 10, 65};
  }
  b.node[TRANSMISSIONS].rawSize = 9;
  b.masks = {{28, 10, 9}};
  d.boundaries = {b, b};
  d.boundaries[1].record = 80;
  d.boundaries[1].offset = 80 * 28 + 160;
  d.boundaries[1].columns = 4;
  d.boundaries[1].rows = 8;
  d.boundaries[1].switches = 2;
  d.boundaries[1].threadSlots = 2 + Summary::SMALL_THREADS;
  d.boundaries[1].farEnds = 3;
  d.boundaries[1].keyframe = {40, 20, 34};
  d.boundaries[1].masks.push_back({38, 10, 33});
  d.times = {8, 52, 1000};
  d.furtherTimes = {50, 10, 100};
  return d;
}

constexpr uint64_t DATA_SIZE = 60;

bool Passes(const IndexTables& directory, uint64_t dataSize = DATA_SIZE) {
  IndexTables decoded;
  return DecodeDirectory(EncodeDirectory(directory), dataSize, decoded);
}

TEST(IndexFormatTest, DirectoryComesBackAsItWas) {
  const IndexTables d = Sound();
  const std::vector<uint8_t> bytes = EncodeDirectory(d);
  IndexTables back;
  ASSERT_TRUE(DecodeDirectory(bytes, DATA_SIZE, back));
  EXPECT_EQ(EncodeDirectory(back), bytes);
  EXPECT_EQ(back.trace.size, d.trace.size);
  EXPECT_EQ(back.trace.modified, d.trace.modified);
  EXPECT_EQ(back.trace.changed, d.trace.changed);
  EXPECT_EQ(back.trace.inode, d.trace.inode);
  EXPECT_EQ(back.trace.edges, d.trace.edges);
  EXPECT_EQ(back.summary.threads, d.summary.threads);
  EXPECT_EQ(back.summary.largeThreads, d.summary.largeThreads);
  EXPECT_EQ(back.summary.sent, d.summary.sent);
  EXPECT_EQ(back.summary.array, d.summary.array);
  EXPECT_EQ(back.summary.far, d.summary.far);
  EXPECT_EQ(back.boundaries[1].farEnds, 3U);
  EXPECT_EQ(back.summary.end.kind, Fault::CUT_RECORD);
  EXPECT_EQ(back.summary.end.record, back.summary.records);
  EXPECT_EQ(back.summary.end.offset, back.summary.bytes);
  EXPECT_EQ(back.summary.end.reason, "the trace ends after 2 of the 8 bytes of a payload");
  EXPECT_EQ(back.atLastBoundary.records, 80U);
  EXPECT_EQ(back.entries[2].cycle, 3U);
  EXPECT_EQ(back.entries[2].offset, d.entries[2].offset);
  EXPECT_EQ(back.boundaries[1].sample, 77U);
  EXPECT_EQ(back.boundaries[1].keyframe.offset, 40U);
  EXPECT_EQ(back.boundaries[1].threadSlots, 2 + Summary::SMALL_THREADS);
  ASSERT_EQ(back.boundaries[1].masks.size(), 2U);
  EXPECT_EQ(back.boundaries[1].masks[1].offset, 38U);
  EXPECT_EQ(back.times.rawSize, 1000U);
  EXPECT_EQ(back.furtherTimes.offset, 50U);
}

TEST(IndexFormatTest, EveryByteOfADirectoryCounts) {
  const std::vector<uint8_t> bytes = EncodeDirectory(Sound());
  for (size_t size = 0; size < bytes.size(); ++size) {
    IndexTables directory;
    EXPECT_FALSE(DecodeDirectory({bytes.data(), size}, DATA_SIZE, directory)) << size;
  }
  std::vector<uint8_t> longer = bytes;
  longer.push_back(0);
  IndexTables directory;
  EXPECT_FALSE(DecodeDirectory(longer, DATA_SIZE, directory));
}

TEST(IndexFormatTest, DirectoryThatContradictsItselfIsRefused) {
  typedef std::function<void(IndexTables&)> Change;
  const std::vector<std::pair<const char*, Change>> changes = {
      {"more records than types", [](auto& d) { ++d.summary.fires; }},
      {"more sends than records", [](auto& d) { d.summary.sends = 101; }},
      {"bytes that records do not take", [](auto& d) { d.summary.bytes += 8; }},
      {"bytes beyond the trace", [](auto& d) { d.trace.size = d.summary.bytes - 1; }},
      {"more changes than records", [](auto& d) { d.summary.changes = 101; }},
      {"more falls than changes", [](auto& d) { d.summary.falls = 61; }},
      {"an end that no malformed record is", [](auto& d) { d.summary.end.kind = Fault::SYSTEM; }},
      {"an end of another type", [](auto& d) { d.summary.end.kind = Fault::UNKNOWN_TYPE; }},
      {"a fall behind the end", [](auto& d) { d.summary.firstFall = 101; }},
      {"fires nowhere", [](auto& d) { d.summary.fired = {}; }},
      {"no sends, but somewhere",
       [](auto& d) {
         d.summary.fires += d.summary.sends;
         d.summary.sends = 0;
         d.summary.far = {};
         d.summary.bytes = 2800;
         d.boundaries.clear();
         d.atLastBoundary = Summary();
         d.entries.resize(1);
       }},
      {"columns beyond any place", [](auto& d) { d.summary.sent.columns = uint64_t{1} << 33; }},
      {"threads that do not add up", [](auto& d) { ++d.summary.threads[3]; }},
      {"threads that overflow", [](auto& d) { d.summary.threads[3] = ~uint64_t{0}; }},
      {"the same switch twice",
       [](auto& d) {
         d.summary.switchPlaces[2] = {4, 4};
       }},
      {"transmissions without switches",
       [](auto& d) {
         d.summary.switchPlaces.clear();
         d.boundaries.clear();
         d.atLastBoundary = Summary();
       }},
      {"an array too large to be complete",
       [](auto& d) { d.summary.fired.columns = d.summary.array.columns = 1 << 18; }},
      {"a side too large to be complete",
       [](auto& d) { d.summary.fired.columns = d.summary.array.columns = (1 << 20) + 1; }},
      {"an array without all fires", [](auto& d) { d.summary.array.columns = 3; }},
      {"an array beyond all places", [](auto& d) { d.summary.array.rows = 9001; }},
      {"an array of columns alone",
       [](auto& d) {
         d.summary.fires = 0;
         d.summary.switches = 80;
         d.summary.fired = {};
         d.summary.array.rows = 0;
         d.boundaries.clear();
         d.atLastBoundary = Summary();
       }},
      {"more far ends than ends", [](auto& d) { d.summary.far.count = 41; }},
      {"far ends nowhere", [](auto& d) { d.summary.far.row = FarEnds::NOWHERE; }},
      {"no far ends, but somewhere", [](auto& d) { d.summary.far.count = 0; }},
      {"a far end beyond all places", [](auto& d) { d.summary.far.row = 9000; }},
      {"a far end in a column beyond all places", [](auto& d) { d.summary.far.column = 2; }},
      {"boundaries with fewer and fewer far ends", [](auto& d) { d.boundaries[0].farEnds = 4; }},
      {"more far ends before a boundary than there are",
       [](auto& d) {
         d.boundaries[1].farEnds = 6;
         d.atLastBoundary.far.count = 6;
       }},
      {"other far ends before the last boundary than its summary has",
       [](auto& d) { d.boundaries[1].farEnds = 2; }},
      {"complete without all switches", [](auto& d) { d.summary.switchesComplete = false; }},
      {"no stride", [](auto& d) { d.stride = 0; }},
      {"no entries", [](auto& d) { d.entries.clear(); }},
      {"a first entry behind the start", [](auto& d) { d.entries.erase(d.entries.begin()); }},
      {"entries that do not ascend", [](auto& d) { std::swap(d.entries[1], d.entries[2]); }},
      {"an entry twice", [](auto& d) { d.entries[2] = d.entries[1]; }},
      {"an entry behind the end", [](auto& d) { d.entries[2].record = 100; }},
      {"an entry that records cannot reach", [](auto& d) { d.entries[1].offset = 50 * 37; }},
      {"an entry that records overshoot", [](auto& d) { d.entries[1].offset = 50 * 27; }},
      {"an entry with too many changes", [](auto& d) { d.entries[2].changes = 61; }},
      {"boundaries that do not ascend", [](auto& d) { d.boundaries[1].record = 40; }},
      {"a boundary behind the end", [](auto& d) { d.boundaries[1].record = 101; }},
      {"a boundary at the end of the records but not of the bytes",
       [](auto& d) {
         IndexBoundary& b = d.boundaries[1];
         b.record = 100;
         b.offset = 100 * 28;
         b.switches = 3;
         b.keyframe.rawSize = 35;
         b.threadSlots = static_cast<uint32_t>(d.summary.ThreadSlots());
         b.farEnds = 5;
         d.atLastBoundary = d.summary;
       }},
      {"a boundary that records cannot reach", [](auto& d) { d.boundaries[0].offset = 41 * 36; }},
      {"a boundary with falling changes", [](auto& d) { d.boundaries[1].changes = 19; }},
      {"an array that shrinks", [](auto& d) { d.boundaries[0].columns = 8; }},
      {"a side that is no power of two",
       [](auto& d) {
         d.boundaries[1].columns = 3;
         d.boundaries[1].keyframe.rawSize = 26;
       }},
      {"rows without columns",
       [](auto& d) {
         d.boundaries[0].columns = 0;
         d.boundaries[0].keyframe.rawSize = 1;
       }},
      {"more switches than there are",
       [](auto& d) {
         d.boundaries[1].switches = 4;
         d.boundaries[1].keyframe.rawSize = 36;
       }},
      {"a keyframe of another size", [](auto& d) { d.boundaries[1].keyframe.rawSize = 35; }},
      {"a keyframe outside the file", [](auto& d) { d.boundaries[1].keyframe.offset = 41; }},
      {"a keyframe of more than the file",
       [](auto& d) { d.boundaries[1].keyframe.packedSize = ~uint64_t{0}; }},
      {"a node larger than its counts", [](auto& d) { d.boundaries[0].node[2].rawSize = 66; }},
      {"a node outside the file", [](auto& d) { d.boundaries[0].node[3].offset = 51; }},
      {"a time table outside the file", [](auto& d) { d.times.offset = 9; }},
      {"another one outside the file", [](auto& d) { d.furtherTimes.packedSize = 11; }},
      {"a time table larger than any", [](auto& d) { d.times.rawSize = TimeTable::LARGEST + 1; }},
      {"another one larger than any",
       [](auto& d) { d.furtherTimes.rawSize = TimeTable::LARGEST + 1; }},
      {"no summary of the last boundary", [](auto& d) { d.atLastBoundary = Summary(); }},
      {"a summary of another boundary", [](auto& d) { d.atLastBoundary.fires += 1; }},
      {"a summary with other switches",
       [](auto& d) {
         d.atLastBoundary.switchPlaces[1] = {4, 12};
       }},
      {"a summary with too few switches", [](auto& d) { d.boundaries[1].switches = 1; }},
      {"a summary with more slots than the last boundary",
       [](auto& d) { d.boundaries[1].threadSlots = 1 + Summary::SMALL_THREADS; }},
      {"fewer slots than before", [](auto& d) { d.boundaries[0].threadSlots += 2; }},
      {"more slots than the trace has",
       [](auto& d) {
         d.boundaries[1].threadSlots += 2;
         d.atLastBoundary.threads[1000] = 0;
         d.atLastBoundary.threads[1001] = 0;
         d.atLastBoundary.largeThreads = {900, 1000, 1001};
       }},
      {"a thread with two slots", [](auto& d) { d.summary.largeThreads.push_back(70); }},
      {"a node of switches that are not there",
       [](auto& d) { d.boundaries[0].node[TRANSMISSIONS].rawSize = 10; }},
      {"more masks than levels",
       [](auto& d) {
         d.boundaries[0].masks.push_back({28, 10, 9});
       }},
      {"a mask larger than the array", [](auto& d) { d.boundaries[0].masks[0].rawSize = 10; }},
      {"a mask in the directory", [](auto& d) { d.boundaries[1].masks[0].offset = 51; }},
  };
  ASSERT_TRUE(Passes(Sound()));
  for (const auto& [what, change] : changes) {
    IndexTables directory = Sound();
    change(directory);
    EXPECT_FALSE(Passes(directory)) << what;
  }
  EXPECT_FALSE(Passes(Sound(), DATA_SIZE - 1)) << "a section reaches into the directory";
}

TEST(IndexFormatTest, TablesLongerThanAnyIndexHasAreRefused) {
  IndexTables threads = Sound();
  for (uint32_t i = 0; i < Summary::SMALL_THREADS + Summary::MAX_THREADS - 4; ++i) {
    threads.summary.threads[1000 + i] = 0;
    threads.summary.largeThreads.push_back(1000 + i);
  }
  EXPECT_TRUE(Passes(threads));
  threads.summary.threads[99] = 0;
  threads.summary.largeThreads.push_back(99);
  EXPECT_FALSE(Passes(threads));
  IndexTables places = Sound();
  for (uint32_t i = 3; i < Summary::MAX_SWITCHES; ++i) {
    places.summary.switchPlaces.push_back({1000, i});
  }
  EXPECT_TRUE(Passes(places));
  places.summary.switchPlaces.push_back({1001, 0});
  EXPECT_FALSE(Passes(places));
}

TEST(IndexFormatTest, RandomBytesAreNoDirectoryAndCostNoMemory) {
  std::mt19937 random(5);
  const std::vector<uint8_t> sound = EncodeDirectory(Sound());
  for (int round = 0; round < 20000; ++round) {
    std::vector<uint8_t> bytes = sound;
    for (size_t changes = 1 + random() % 4; changes > 0; --changes) {
      bytes[random() % bytes.size()] = static_cast<uint8_t>(random());
    }
    IndexTables directory;
    if (DecodeDirectory(bytes, DATA_SIZE, directory)) {
      // What passes is at least of the form of an index.
      EXPECT_LE(directory.summary.bytes, directory.trace.size);
      EXPECT_EQ(directory.entries.empty(), directory.summary.records == 0);
    }
    ASSERT_LE(directory.entries.capacity(), 2 * sound.size());
    ASSERT_LE(directory.boundaries.capacity(), 2 * sound.size());
  }
}

// Time tables of the records of a few cycles, and what a summary tells of them.
struct Timed {
  Timed() {
    summary.firstCycle = 5;
    Count(before, 5, 7, FIRE_RECORD, 3);
    Count(before, 9, 8, SWITCH_RECORD, 1);
    atLastBoundary = summary;
    behind = before;
    behind.ClearFor(before);
    Count(behind, 9, 7, SEND_RECORD, 2);
    Count(behind, 12, 9, FIRE_RECORD, 4);
  }

  void Count(TimeTable& table, uint64_t cycle, uint32_t thread, uint32_t type, uint64_t records) {
    table.Add(cycle, TimeTable::ColumnOf(table.AddThread(thread), TimeTable::TypeOf(type)),
              records);
    summary.records += records;
    summary.threads[thread] += records;
    (type == FIRE_RECORD   ? summary.fires
     : type == SEND_RECORD ? summary.sends
                           : summary.switches) += records;
    summary.maxCycle = std::max(summary.maxCycle, cycle);
  }

  bool PassesBefore() const { return DecodeTimes(before.Encode(), atLastBoundary).has_value(); }
  bool PassesBehind() const {
    return DecodeFurtherTimes(before, behind.Encode(), summary).has_value();
  }

  TimeTable before;
  TimeTable behind;
  Summary atLastBoundary;
  Summary summary;
};

TEST(IndexFormatTest, TimeTablesOfBothPartsAreThatOfTheWhole) {
  const Timed timed;
  ASSERT_TRUE(timed.PassesBefore());
  const auto whole = DecodeFurtherTimes(timed.before, timed.behind.Encode(), timed.summary);
  ASSERT_TRUE(whole);
  EXPECT_EQ(whole->First(), 5U);
  EXPECT_EQ(whole->Cells(), 8U);
  EXPECT_EQ(whole->Records(4), 3U);
  EXPECT_EQ(whole->Threads().size(), 3U);
}

TEST(IndexFormatTest, TimeTableThatContradictsTheSummaryIsRefused) {
  typedef std::function<void(Timed&)> Change;
  const std::vector<std::pair<const char*, Change>> changes = {
      {"more fires", [](auto& t) { t.before.Add(5, TimeTable::ColumnOf(0, 1), 1); }},
      {"fewer fires", [](auto& t) { ++t.atLastBoundary.fires; }},
      {"fewer sends", [](auto& t) { ++t.atLastBoundary.sends; }},
      {"counts that overflow to what is right",
       [](auto& t) {
         t.before.Add(5, TimeTable::ColumnOf(0, 1), uint64_t{1} << 63);
         t.before.Add(9, TimeTable::ColumnOf(0, 1), uint64_t{1} << 63);
       }},
      {"records of another thread",
       [](auto& t) {
         ++t.atLastBoundary.threads[7];
         --t.atLastBoundary.threads[8];
       }},
      {"a thread that the trace has not",
       [](auto& t) {
         t.atLastBoundary.threads[9] = t.atLastBoundary.threads[8];
         t.atLastBoundary.threads.erase(8);
       }},
      {"too few threads told apart", [](auto& t) { t.atLastBoundary.threads[10] = 0; }},
      {"a first cell too early", [](auto& t) { t.atLastBoundary.firstCycle = 6; }},
      {"a first cell too late", [](auto& t) { t.atLastBoundary.firstCycle = 4; }},
      {"a first cell too late for cycles that fall",
       [](auto& t) {
         t.atLastBoundary.firstCycle = 4;
         t.atLastBoundary.falls = 1;
       }},
      {"a last cell too early", [](auto& t) { t.atLastBoundary.maxCycle = 10; }},
      {"a last cell too late", [](auto& t) { t.atLastBoundary.maxCycle = 8; }},
      {"records of none", [](auto& t) { t.atLastBoundary = Summary(); }},
      {"none of some", [](auto& t) { t.before = TimeTable(); }},
  };
  for (const auto& [what, change] : changes) {
    Timed timed;
    change(timed);
    EXPECT_FALSE(timed.PassesBefore()) << what;
  }
  Timed falling;
  falling.atLastBoundary.firstCycle = 6;
  falling.atLastBoundary.falls = 1;
  EXPECT_TRUE(falling.PassesBefore()) << "cycles that fall may fall below the first";
}

TEST(IndexFormatTest, TimeTablesThatContradictEachOtherAreRefused) {
  ASSERT_TRUE(Timed().PassesBehind());
  Timed again;
  again.behind = again.before;
  EXPECT_FALSE(again.PassesBehind()) << "what is before the boundary cannot be behind it as well";
  Timed fewer;
  fewer.behind = TimeTable();
  fewer.summary = fewer.atLastBoundary;
  EXPECT_FALSE(fewer.PassesBehind()) << "threads are not forgotten";
  Timed others;
  others.behind = TimeTable();
  for (const uint32_t thread : {8, 7}) {
    others.behind.AddThread(thread);
  }
  others.summary = others.atLastBoundary;
  EXPECT_FALSE(others.PassesBehind()) << "threads keep their places";
  EXPECT_FALSE(DecodeFurtherTimes(again.before, {}, again.summary)) << "no table";
}

TEST(IndexFormatTest, FooterComesBackAndAnyDamageToItShows) {
  const IndexSection directory = {12, 345, 6789};
  uint8_t bytes[INDEX_FOOTER];
  EncodeFooter(directory, bytes);
  IndexSection back;
  ASSERT_TRUE(DecodeFooter(bytes, back));
  EXPECT_EQ(back.offset, 12U);
  EXPECT_EQ(back.packedSize, 345U);
  EXPECT_EQ(back.rawSize, 6789U);
  for (size_t bit = 0; bit < 8 * INDEX_FOOTER; ++bit) {
    bytes[bit / 8] = static_cast<uint8_t>(bytes[bit / 8] ^ 1 << bit % 8);
    EXPECT_FALSE(DecodeFooter(bytes, back)) << "bit " << bit;
    bytes[bit / 8] = static_cast<uint8_t>(bytes[bit / 8] ^ 1 << bit % 8);
  }
}

// More segments than one test could write to a file, one batch over and over. Nodes of many
// segments are kept in wider numbers; none of them may lose a count.
TEST(IndexFormatTest, NodesOfManySegmentsAddUp) {
  auto columns = std::make_unique<Columns>();
  columns->size = Columns::CAPACITY;
  for (size_t i = 0; i < columns->size; ++i) {
    columns->cycle[i] = 1;
    columns->tag[i] = {0, i % 4 == 0 ? SEND_RECORD : i % 4 == 1 ? SWITCH_RECORD : FIRE_RECORD};
    columns->at[i] = {4, 4};
    columns->to[i] = {i % 4 == 0 ? 3U : 0U, i % 4 == 0 ? 2U : 0U};
  }
  columns->sends = columns->size / 4;
  columns->switches = columns->size / 4;
  columns->maxFired = {4, 4};
  columns->maxSent = {4, 4};
  std::vector<std::vector<uint8_t>> sections;
  IndexBuilder builder([&](std::span<const uint8_t> raw) {
    sections.emplace_back(raw.begin(), raw.end());
    return IndexSection{sections.size() - 1, 0, raw.size()};
  });
  constexpr size_t SEGMENTS = 520;
  for (size_t records = 0; records < SEGMENTS * 32768; records += columns->size) {
    builder.Add(*columns);
  }
  builder.Finish();
  const std::vector<IndexBoundary> boundaries = builder.TakeTables().boundaries;
  ASSERT_EQ(boundaries.size(), SEGMENTS);
  for (const size_t b : {1, 2, 3, 128, 255, 256, 257, 384, 511, 512, 516, 520}) {
    const IndexBoundary& boundary = boundaries[b - 1];
    const uint64_t segments = b & (~b + 1);
    for (const Activity activity : {FIRES, SENDS, RECEIVES, TRANSMISSIONS}) {
      std::vector<uint64_t> sums(activity == TRANSMISSIONS ? 1 : 64);
      ASSERT_TRUE(AddNarrow(sections[boundary.node[activity].offset], 1, sums));
      const size_t cell = activity == TRANSMISSIONS ? 0 : activity == RECEIVES ? 2 * 8 + 3 : 36;
      const uint64_t each = activity == FIRES ? 32768 / 2 : 32768 / 4;
      EXPECT_EQ(sums[cell], segments * each) << "boundary " << b << ", activity " << activity;
    }
    std::vector<uint64_t> threads(CountersOf(boundary, THREAD_RECORDS));
    ASSERT_TRUE(AddNarrow(sections[boundary.node[THREAD_RECORDS].offset], 1, threads));
    EXPECT_EQ(threads[RECORD_TYPES * 1 + SEND_RECORD - SWITCH_RECORD], segments * 32768 / 4) << b;
    EXPECT_EQ(threads[RECORD_TYPES * 1 + FIRE_RECORD - SWITCH_RECORD], segments * 32768 / 2) << b;
    EXPECT_EQ(std::accumulate(threads.begin(), threads.end(), uint64_t{0}), segments * 32768) << b;
  }
}

}  // namespace
}  // namespace marrowfin::testing
