// Notes files that are cut, damaged, made up, or grow.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <zlib.h>

#include <fstream>
#include <map>
#include <set>

#include "tests/support/Files.h"
#include "trace/base/BigEndian.h"
#include "trace/base/Bytes.h"
#include "trace/base/Zstd.h"
#include "trace/marrowfin_trace.h"
#include "trace/read/NotesDecode.h"
#include "trace/read/NotesFile.h"
#include "trace/write/NotesWriter.h"

namespace marrowfin::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

typedef std::vector<uint8_t> Body;

const std::string MAGIC = "MFNOTES1";

// A block with a right checksum, whatever else it says.
std::string Sealed(uint8_t kind, uint8_t packing, const Body& stored, uint64_t raw) {
  uint8_t head[NOTES_BLOCK_HEAD] = {kind, packing};
  Store32(head + 4, static_cast<uint32_t>(stored.size()));
  Store32(head + 8, static_cast<uint32_t>(raw));
  uLong sum = crc32(0, head, 12);
  sum = crc32(sum, stored.data(), static_cast<uInt>(stored.size()));
  Store32(head + 12, static_cast<uint32_t>(sum));
  return std::string(head, head + sizeof(head)) + std::string(stored.begin(), stored.end());
}

std::string Block(uint8_t kind, const Body& body, bool packed = false) {
  return Sealed(kind, packed ? 1 : 0, packed ? Pack(body) : body, body.size());
}

// Numbers as they stand in a body; texts as text.
class Writing {
 public:
  Writing& N(uint64_t number) {
    bytes.Number(number);
    return *this;
  }
  Writing& S(int64_t number) {
    bytes.Signed(number);
    return *this;
  }
  Writing& T(const std::string& text) {
    bytes.Text(text);
    return *this;
  }
  Writing& Raw(const Body& more) {
    bytes.Raw(more.data(), more.size());
    return *this;
  }
  Writing& Sized(const Body& more) { return N(more.size()).Raw(more); }
  operator Body() { return bytes.Bytes(); }

 private:
  ByteWriter bytes;
};

Body Attribute(uint64_t number, uint64_t type, const std::string& name) {
  return Writing().N(1).N(number).N(type).T(name).T("");
}

const Body NO_PRINT = {0, 0, 0, 0, 0, 0, 0, 0};

class NotesTest : public ::testing::Test {
 protected:
  std::unique_ptr<NotesFile> Open(const std::string& bytes) {
    Result<std::unique_ptr<NotesFile>> notes =
        NotesFile::Open(MemoryFile(Body(bytes.begin(), bytes.end()), "t.notes"));
    EXPECT_TRUE(notes) << notes.Why().Text();
    return notes ? std::move(notes).Take() : nullptr;
  }

  // What is wrong with a notes file that declares a number, a name and a list of records, and has
  // a block of ten records with `columns` behind it.
  std::string WrongColumns(uint64_t count, const Body& columns) {
    const std::string bytes = MAGIC +
                              Block(1, Writing()
                                           .Sized(Attribute(0, 1, "packet"))
                                           .Sized(Attribute(1, 4, "kind"))
                                           .Sized(Attribute(2, 5, "consumes"))) +
                              Block(2, Writing().N(5).N(10).Raw(NO_PRINT).N(count).Raw(columns));
    const std::unique_ptr<NotesFile> notes = Open(bytes);
    EXPECT_EQ(notes->End().kind != Fault::NONE, notes->Blocks().empty());
    return notes->End().reason;
  }

  std::string WrongDeclarations(const Body& entries) {
    return Open(MAGIC + Block(1, entries))->End().reason;
  }

  // A file as a recorder writes it.
  std::string Recorded() {
    const std::string name = folder.File("run.trace");
    marrowfin_trace trace;
    marrowfin_trace_open(&trace, name.c_str());
    marrowfin_trace_companion(&trace);
    const int packet = marrowfin_trace_attribute(&trace, "packet", MARROWFIN_TRACE_NUMBER, "");
    const int queue = marrowfin_trace_counter(&trace, "queue", "flits");
    for (uint64_t i = 0; i < 40; ++i) {
      marrowfin_trace_fire(&trace, i, 0, 0, 0);
      marrowfin_trace_note(&trace, packet, i * i);
      marrowfin_trace_count(&trace, i, 0, 0, queue, static_cast<double>(i));
      if (i % 8 == 7) {
        EXPECT_EQ(0, marrowfin_trace_flush(&trace));
      }
    }
    EXPECT_EQ(0, marrowfin_trace_close(&trace));
    return ReadFile(name + ".notes");
  }

  // A file as a recorder writes it that packs its blocks.
  static std::string Packed() {
    MemorySink sink;
    NotesWriter writer(sink);
    const uint32_t kind = writer.Attribute("kind", NoteType::NAME);
    writer.NameValue(kind, 1, "wait");
    const uint32_t consumes = writer.Attribute("consumes", NoteType::RECORDS);
    const uint32_t queue = writer.Counter("queue", "flits");
    for (uint64_t i = 0; i < 60; ++i) {
      writer.Record(FIRE_RECORD, i, 0, {0, 0}, {});
      writer.Note(kind, i % 3);
      writer.Note(consumes, i / 2);
      writer.Sample({i, queue, {1, 2}, static_cast<double>(i) / 4});
      if (i % 30 == 29) {
        EXPECT_FALSE(writer.Flush());
      }
    }
    EXPECT_FALSE(writer.Close());
    return std::string(sink.Bytes().begin(), sink.Bytes().end());
  }

  // All that can be read of a file, as text.
  std::string All(const NotesFile& notes) {
    std::string all;
    for (size_t number = 0; number < notes.Blocks().size(); ++number) {
      if (notes.Blocks()[number].kind == NotesBlockKind::SAMPLES) {
        const Result<std::vector<CounterSample>> samples = notes.Samples(number);
        EXPECT_TRUE(samples) << samples.Why().Text();
        for (const CounterSample& sample : *samples) {
          all += std::to_string(sample.cycle) + ":" + std::to_string(sample.value) + " ";
        }
        continue;
      }
      const Result<NotesBlock> block = notes.Notes(number);
      EXPECT_TRUE(block) << block.Why().Text();
      for (size_t i = 0; i < block->columns[0].values.size(); ++i) {
        all += std::to_string(block->first + block->columns[0].positions[i]) + "=" +
               std::to_string(block->columns[0].values[i]) + " ";
      }
    }
    return all;
  }

  TempDir folder;
};

TEST_F(NotesTest, WhatIsDeclaredIsFoundByItsName) {
  const std::string bytes = MAGIC + Block(1, Writing()
                                                 .Sized(Attribute(0, 4, "kind"))
                                                 .Sized(Writing().N(2).N(0).N(0).T("compute"))
                                                 .Sized(Attribute(1, 1, "packet")));
  EXPECT_EQ("compute", Open(bytes)->Declarations().attributes[0].names.at(0));
  EXPECT_EQ(1U, Open(bytes)->Declarations().Attribute("packet"));
  EXPECT_EQ(std::nullopt, Open(bytes)->Declarations().Attribute("size"));
}

TEST_F(NotesTest, FileThatIsCutAnywhereKeepsItsWholeBlocks) {
  const std::string bytes = Recorded();
  const std::string all = All(*Open(bytes));
  size_t most = 0;
  for (size_t size = 0; size < bytes.size(); ++size) {
    Result<std::unique_ptr<NotesFile>> notes =
        NotesFile::Open(MemoryFile(Body(bytes.begin(), bytes.begin() + size), "t.notes"));
    if (size < MAGIC.size()) {
      EXPECT_FALSE(notes);
      continue;
    }
    ASSERT_TRUE(notes) << "cut at " << size;
    const std::string kept = All(**notes);
    EXPECT_EQ(all.substr(0, kept.size()), kept);
    EXPECT_GE(kept.size(), most) << "cut at " << size;
    most = kept.size();
    EXPECT_TRUE((*notes)->End().kind == Fault::CUT_NOTES || (*notes)->End().kind == Fault::NONE);
  }
  EXPECT_EQ(all.size(), most);
}

TEST_F(NotesTest, FlippedBitIsNeverBelieved) {
  const std::string bytes = Recorded();
  const std::string all = All(*Open(bytes));
  for (size_t at = 0; at < bytes.size() * 8; ++at) {
    std::string flipped = bytes;
    flipped[at / 8] = static_cast<char>(flipped[at / 8] ^ 1 << at % 8);
    Result<std::unique_ptr<NotesFile>> notes =
        NotesFile::Open(MemoryFile(Body(flipped.begin(), flipped.end()), "t.notes"));
    if (!notes) {
      EXPECT_LT(at / 8, MAGIC.size());
      continue;
    }
    for (size_t number = 0; number < (*notes)->Blocks().size(); ++number) {
      if ((*notes)->Blocks()[number].kind == NotesBlockKind::NOTES) {
        const Result<NotesBlock> block = (*notes)->Notes(number);
        for (size_t i = 0; block && i < block->columns[0].values.size(); ++i) {
          const uint64_t record = block->first + block->columns[0].positions[i];
          ASSERT_EQ(record * record, block->columns[0].values[i]) << "bit " << at;
        }
      }
    }
  }
}

// Whether anything is told of damage. Whatever can be read of the bytes stands in a sound file too.
bool IsToldAndNotBelieved(const std::string& bytes, const NotesFile& sound) {
  const Result<std::unique_ptr<NotesFile>> opened =
      NotesFile::Open(MemoryFile(Body(bytes.begin(), bytes.end()), "t.notes"));
  if (!opened) {
    return true;
  }
  const NotesFile& notes = **opened;
  const auto among = [&sound](NotesBlockKind kind, const auto& isThis) {
    for (size_t number = 0; number < sound.Blocks().size(); ++number) {
      if (sound.Blocks()[number].kind == kind && isThis(number)) {
        return true;
      }
    }
    return false;
  };
  bool told = static_cast<bool>(notes.End());
  for (size_t number = 0; number < notes.Blocks().size(); ++number) {
    if (notes.Blocks()[number].kind == NotesBlockKind::NOTES) {
      const Result<NotesBlock> block = notes.Notes(number);
      told = told || !block;
      EXPECT_TRUE(!block || among(NotesBlockKind::NOTES,
                                  [&](size_t other) { return *sound.Notes(other) == *block; }));
    } else {
      const Result<std::vector<CounterSample>> taken = notes.Samples(number);
      told = told || !taken;
      EXPECT_TRUE(!taken || among(NotesBlockKind::SAMPLES,
                                  [&](size_t other) { return *sound.Samples(other) == *taken; }));
    }
  }
  const NoteDeclarations& declared = notes.Declarations();
  EXPECT_TRUE(declared == sound.Declarations() || declared == NoteDeclarations());
  return told;
}

TEST_F(NotesTest, EveryFlippedBitOfNotesSamplesAndTheirTableIsTold) {
  for (const std::string& bytes : {Recorded(), Packed()}) {
    const std::unique_ptr<NotesFile> sound = Open(bytes);
    for (size_t at = 0; at < bytes.size() * 8; ++at) {
      std::string flipped = bytes;
      flipped[at / 8] = static_cast<char>(flipped[at / 8] ^ 1 << at % 8);
      EXPECT_TRUE(IsToldAndNotBelieved(flipped, *sound)) << "bit " << at << " of " << bytes.size();
    }
  }
}

// Without a table nothing leads past a damaged block; with one it is the only one that is missing.
TEST_F(NotesTest, RemedyOfADamagedBlockTellsWhatBecomesOfThoseBehindIt) {
  const std::string bytes = Recorded();
  const std::unique_ptr<NotesFile> sound = Open(bytes);
  const std::map<NotesBlockKind, std::string> remedies = {
      {NotesBlockKind::NOTES, "notes in other blocks are believed as before"},
      {NotesBlockKind::SAMPLES, "no counter is known; notes are believed"}};
  std::set<NotesBlockKind> met;
  for (size_t number = 0; number < sound->Blocks().size(); ++number) {
    const NotesEntry& entry = sound->Blocks()[number];
    std::string damaged = bytes;
    damaged[entry.offset + NOTES_BLOCK_HEAD] ^= 1;
    const std::unique_ptr<NotesFile> byTable = Open(damaged);
    EXPECT_EQ(sound->Blocks().size(), byTable->Blocks().size());
    const bool isNotes = entry.kind == NotesBlockKind::NOTES;
    EXPECT_EQ(remedies.at(entry.kind),
              (isNotes ? byTable->Notes(number).Why() : byTable->Samples(number).Why()).remedy);
    damaged.pop_back();
    const std::unique_ptr<NotesFile> byBlocks = Open(damaged);
    EXPECT_EQ(number, byBlocks->Blocks().size());
    EXPECT_EQ("what is behind it is left out", byBlocks->End().remedy);
    met.insert(entry.kind);
  }
  EXPECT_EQ(remedies.size(), met.size());
}

// Where the blocks of a file end.
std::set<size_t> BlockEnds(const std::string& bytes) {
  std::set<size_t> ends = {MAGIC.size()};
  for (size_t at = MAGIC.size(); at < bytes.size();) {
    at += NOTES_BLOCK_HEAD + Load32(reinterpret_cast<const uint8_t*>(&bytes[at + 4]));
    ends.insert(at);
  }
  return ends;
}

TEST_F(NotesTest, EveryCutWithinABlockIsToldAndNothingElseIsBelieved) {
  for (const std::string& bytes : {Recorded(), Packed()}) {
    const std::unique_ptr<NotesFile> sound = Open(bytes);
    const std::set<size_t> ends = BlockEnds(bytes);
    EXPECT_GT(ends.size(), 4U);
    for (size_t size = 0; size < bytes.size(); ++size) {
      EXPECT_EQ(!ends.contains(size), IsToldAndNotBelieved(bytes.substr(0, size), *sound))
          << "cut at " << size << " of " << bytes.size();
    }
  }
}

TEST_F(NotesTest, TableAndBlocksTellTheSame) {
  const std::string bytes = Recorded();
  const std::unique_ptr<NotesFile> byTable = Open(bytes);
  // Without its last bytes there is no table, and a cut block.
  const std::unique_ptr<NotesFile> byBlocks = Open(bytes.substr(0, bytes.size() - 1));
  EXPECT_FALSE(byTable->End());
  EXPECT_EQ(Fault::CUT_NOTES, byBlocks->End().kind);
  EXPECT_EQ(std::vector<NotesEntry>(byTable->Blocks().begin(), byTable->Blocks().end()),
            std::vector<NotesEntry>(byBlocks->Blocks().begin(), byBlocks->Blocks().end()));
  EXPECT_EQ(byTable->Declarations(), byBlocks->Declarations());
  EXPECT_EQ(40U, byTable->Records());
  EXPECT_EQ(40U, byBlocks->Records());
}

TEST_F(NotesTest, BlocksBehindATableAreRead) {
  const std::string bytes = Recorded() + Block(2, Writing().N(50).N(1).Raw(NO_PRINT).N(0));
  const std::unique_ptr<NotesFile> notes = Open(bytes);
  EXPECT_FALSE(notes->End()) << notes->End().Text();
  EXPECT_EQ(51U, notes->Records());
}

TEST_F(NotesTest, FileThatGrowsIsFollowed) {
  const std::string bytes = Recorded();
  const std::string name = folder.File("grows.notes");
  const std::unique_ptr<NotesFile> whole = Open(bytes);
  const size_t third = whole->Blocks()[2].offset;
  WriteFile(name, bytes.substr(0, third + 5));
  Result<std::unique_ptr<NotesFile>> notes = NotesFile::Open(name);
  ASSERT_TRUE(notes);
  EXPECT_EQ(2U, (*notes)->Blocks().size());
  EXPECT_EQ(Fault::CUT_NOTES, (*notes)->End().kind);
  std::ofstream(name, std::ios::app | std::ios::binary) << bytes.substr(third + 5);
  EXPECT_FALSE((*notes)->Follow());
  EXPECT_FALSE((*notes)->End());
  EXPECT_EQ(All(*whole), All(**notes));
  std::ofstream(name, std::ios::binary) << "MFNOTES1";
  EXPECT_EQ(Fault::CHANGED, (*notes)->Follow().kind);
}

TEST_F(NotesTest, PackedBlocksAreReadLikeOthers) {
  const Body body = Writing().N(5).N(10).Raw(NO_PRINT).N(1).N(0).Sized(Writing().N(1).N(9).S(3));
  const std::string head = MAGIC + Block(1, Writing().Sized(Attribute(0, 1, "packet")));
  for (const bool packed : {false, true}) {
    const std::unique_ptr<NotesFile> notes = Open(head + Block(2, body, packed));
    const Result<NotesBlock> block = notes->Notes(0);
    ASSERT_TRUE(block) << block.Why().Text();
    EXPECT_THAT(block->columns[0].positions, ElementsAre(9));
    EXPECT_THAT(block->columns[0].values, ElementsAre(3));
  }
}

TEST_F(NotesTest, BlocksWhoseBodyIsNotWhatTheySayAreRefused) {
  const Body body = Writing().Sized(Attribute(0, 1, "packet"));
  const auto wrong = [&](uint8_t packing, const Body& stored, uint64_t raw) {
    const std::unique_ptr<NotesFile> notes = Open(MAGIC + Sealed(1, packing, stored, raw));
    EXPECT_EQ(notes->End() ? 0U : 1U, notes->Declarations().attributes.size());
    return notes->End().reason;
  };
  EXPECT_EQ("", wrong(0, body, body.size()));
  EXPECT_EQ("", wrong(1, Pack(body), body.size()));
  EXPECT_THAT(wrong(0, body, body.size() + 1), HasSubstr("another size than it says"));
  EXPECT_THAT(wrong(1, Pack(body), body.size() + 1), HasSubstr("does not unpack"));
  EXPECT_THAT(wrong(1, Pack(body), body.size() - 1), HasSubstr("does not unpack"));
  EXPECT_THAT(wrong(1, body, body.size()), HasSubstr("does not unpack"));
  EXPECT_THAT(wrong(2, body, body.size()), HasSubstr("packed in an unknown way"));
  EXPECT_THAT(wrong(1, Pack(body), (16 << 20) + 1), HasSubstr("larger than any may be"));
  EXPECT_THAT(wrong(0, Body((16 << 20) + 1), (16 << 20) + 1), HasSubstr("larger than any may be"));
  EXPECT_THAT(wrong(1, Pack(body), 16 << 20), HasSubstr("does not unpack"));
}

TEST_F(NotesTest, NumbersThatAreNoneAreRefused) {
  const auto why = [this](const Body& number) {
    return Open(MAGIC + Block(2, Writing().Raw(number).N(1).Raw(NO_PRINT).N(0)))->End().reason;
  };
  Body tooLarge(9, 0x80);
  tooLarge.push_back(2);          // 2^64
  EXPECT_EQ("", why({0x80, 0}));  // longer than need be is a number all the same
  EXPECT_THAT(why(tooLarge), HasSubstr("which records"));
  EXPECT_THAT(why(Body(11, 0x80)), HasSubstr("which records"));
  EXPECT_THAT(Open(MAGIC + Block(2, {0x80}))->End().reason, HasSubstr("which records"));
}

TEST_F(NotesTest, UnknownKindsOfBlocksAndDeclarationsArePassedOver) {
  const std::unique_ptr<NotesFile> notes =
      Open(MAGIC + Block(77, {1, 2, 3}) +
           Block(1, Writing().Sized(Writing().N(44).N(1).N(2)).Sized(Attribute(0, 1, "packet"))) +
           Block(2, Writing().N(0).N(1).Raw(NO_PRINT).N(0)));
  EXPECT_FALSE(notes->End()) << notes->End().Text();
  EXPECT_EQ(1U, notes->Blocks().size());
  EXPECT_EQ(1U, notes->Declarations().attributes.size());
}

TEST_F(NotesTest, OtherFilesAndVersionsAreRefused) {
  const auto why = [](const std::string& bytes) {
    return NotesFile::Open(MemoryFile(Body(bytes.begin(), bytes.end()), "t.notes")).Why().reason;
  };
  EXPECT_THAT(why("something else"), HasSubstr("these are no notes"));
  EXPECT_THAT(why("MFNOTES2"), HasSubstr("notes of another version"));
  EXPECT_THAT(why("MFN"), HasSubstr("these are no notes"));
  EXPECT_EQ(Fault::SYSTEM, NotesFile::Open(folder.File("missing")).Why().kind);
}

TEST_F(NotesTest, DeclarationsThatContradictThemselvesAreRefused) {
  EXPECT_EQ("",
            WrongDeclarations(Writing().Sized(Attribute(0, 1, "a")).Sized(Attribute(0, 1, "a"))));
  EXPECT_THAT(WrongDeclarations(Writing().Sized(Attribute(0, 1, "a")).Sized(Attribute(0, 2, "a"))),
              HasSubstr("declared twice"));
  EXPECT_THAT(WrongDeclarations(Writing().Sized(Attribute(1, 1, "a"))),
              HasSubstr("not declared as"));
  EXPECT_THAT(WrongDeclarations(Writing().Sized(Attribute(0, 1, ""))),
              HasSubstr("not declared as"));
  EXPECT_THAT(WrongDeclarations(Writing().Sized(Attribute(0, 6, "a"))),
              HasSubstr("not declared as"));
  Writing many;
  for (uint64_t number = 0; number < 32; ++number) {
    many.Sized(Attribute(number, 1, "a" + std::to_string(number)));
  }
  EXPECT_EQ("", WrongDeclarations(many));
  EXPECT_THAT(WrongDeclarations(many.Sized(Attribute(32, 1, "b"))), HasSubstr("not declared as"));
  EXPECT_THAT(WrongDeclarations(Writing().Sized(Attribute(0, 1, "\xff"))),
              HasSubstr("not declared as"));
  EXPECT_THAT(WrongDeclarations(Writing().Sized(Attribute(0, 1, "\xed\xa0\x80"))),
              HasSubstr("not declared as"));
  EXPECT_EQ("", WrongDeclarations(Writing().Sized(Attribute(0, 1, "\xc3\xa4\xf0\x9f\x90\x9f"))));
  EXPECT_THAT(WrongDeclarations(Writing().Sized(Attribute(0, 1, "a")).Sized(Attribute(1, 1, "a"))),
              HasSubstr("one name"));
  EXPECT_THAT(WrongDeclarations(
                  Writing().Sized(Attribute(0, 1, "a")).Sized(Writing().N(2).N(0).N(1).T("x"))),
              HasSubstr("not declared as"));
  EXPECT_THAT(WrongDeclarations(Writing()
                                    .Sized(Attribute(0, 4, "a"))
                                    .Sized(Writing().N(2).N(0).N(1).T("x"))
                                    .Sized(Writing().N(2).N(0).N(1).T("y"))),
              HasSubstr("two names"));
  EXPECT_THAT(WrongDeclarations(Writing()
                                    .Sized(Writing().N(3).N(0).T("x").T(""))
                                    .Sized(Writing().N(3).N(0).T("x").T("W"))),
              HasSubstr("declared twice"));
  EXPECT_THAT(WrongDeclarations(Writing()
                                    .Sized(Writing().N(3).N(0).T("x").T(""))
                                    .Sized(Writing().N(3).N(1).T("x").T(""))),
              HasSubstr("two counters"));
  EXPECT_THAT(WrongDeclarations(Writing().N(9).N(1)), HasSubstr("cut"));
}

TEST_F(NotesTest, ABlockThatIsRefusedDeclaresNothing) {
  const std::unique_ptr<NotesFile> notes =
      Open(MAGIC +
           Block(1, Writing()
                        .Sized(Attribute(0, 4, "a"))
                        .Sized(Writing().N(2).N(0).N(1).T("x"))
                        .Sized(Writing().N(3).N(0).T("queue").T(""))) +
           Block(1, Writing()
                        .Sized(Writing().N(2).N(0).N(2).T("y"))
                        .Sized(Writing().N(2).N(0).N(1).T("x"))
                        .Sized(Attribute(1, 1, "b"))
                        .Sized(Writing().N(3).N(1).T("power").T(""))
                        .Sized(Writing().N(2).N(0).N(2).T("z"))));
  EXPECT_THAT(notes->End().reason, HasSubstr("two names"));
  NoteDeclarations expected;
  expected.attributes = {{NoteType::NAME, "a", "", {{1, "x"}}}};
  expected.counters = {{"queue", ""}};
  EXPECT_EQ(expected, notes->Declarations());
}

TEST_F(NotesTest, DeclarationsHaveALimitHoweverSmallTheyArePacked) {
  // Entries of a kind that nobody knows, of almost 1 MiB each, which pack to nearly nothing.
  const Body block = Writing().Sized(Writing().N(44).Raw(Body((1 << 20) - 8)));
  std::string bytes = MAGIC;
  for (int i = 0; i < 17; ++i) {
    bytes += Block(1, block, true);
  }
  EXPECT_LT(bytes.size(), 10000U);
  const std::unique_ptr<NotesFile> notes = Open(bytes);
  EXPECT_THAT(notes->End().reason, HasSubstr("more declarations than there may be"));
  EXPECT_FALSE(Open(bytes.substr(0, notes->End().offset))->End());
}

TEST_F(NotesTest, ATableThatTellsOfOtherKindsIsNotBelieved) {
  // The table says that the notes are declarations, or the declarations notes.
  const std::string head = MAGIC + Block(1, Writing().Sized(Attribute(0, 1, "packet"))) +
                           Block(2, Writing().N(0).N(1).Raw(NO_PRINT).N(0));
  const auto withTable = [&](const Body& entries) {
    Body tail(8);
    Store64(tail.data(), head.size());
    tail.insert(tail.end(), NOTES_TABLE_MAGIC, NOTES_TABLE_MAGIC + sizeof(NOTES_TABLE_MAGIC));
    return head + Block(4, Writing().Raw(entries).Raw(tail));
  };
  const uint64_t second = Open(head)->Blocks()[0].offset;
  const auto entry = [](uint8_t kind, uint64_t step) -> Body {
    return Writing().Raw({kind}).N(step);
  };
  const auto notesEntry = [&](uint64_t step) -> Body {
    return Writing().Raw(entry(2, step)).N(0).N(1);
  };
  const std::unique_ptr<NotesFile> right =
      Open(withTable(Writing().N(2).Raw(entry(1, 8)).Raw(notesEntry(second - 8))));
  EXPECT_TRUE(right->Notes(0)) << right->Notes(0).Why().Text();
  const std::unique_ptr<NotesFile> swapped =
      Open(withTable(Writing().N(2).Raw(notesEntry(8)).Raw(entry(1, second - 8))));
  EXPECT_EQ(right->Declarations(), swapped->Declarations()) << "read block by block";
  EXPECT_EQ(1U, swapped->Blocks().size());
  const std::unique_ptr<NotesFile> wrong = Open(withTable(Writing().N(1).Raw(notesEntry(8))));
  EXPECT_THAT(wrong->Notes(0).Why().reason, HasSubstr("another kind"));
}

TEST_F(NotesTest, ATableOfMoreBlocksThanTheFileHasRoomForTakesNoMemory) {
  std::vector<NotesEntry> entries;
  const Body table = Writing().N(1 << 22).Raw(Body(1 << 22)).Raw(Body(NOTES_TABLE_TAIL));
  EXPECT_NE("", DecodeNotesTable(table, 1 << 20, entries));
  EXPECT_LT(entries.capacity(), size_t{1} << 17);
}

TEST_F(NotesTest, ColumnsThatContradictThemselvesAreRefused) {
  const Body good = Writing().N(2).N(3).N(4).S(1).S(1);  // of records 3 and 7
  EXPECT_EQ("", WrongColumns(1, Writing().N(0).Sized(good)));
  EXPECT_THAT(WrongColumns(2, Writing().N(0).Sized(good).N(0).Sized(good)),
              HasSubstr("two columns"));
  EXPECT_THAT(WrongColumns(1, Writing().N(3).Sized(good)),
              HasSubstr("attribute 3 was not declared"));
  EXPECT_THAT(WrongColumns(2, Writing().N(0).Sized(good)), HasSubstr("cut"));
  EXPECT_THAT(WrongColumns(0, Writing().N(0)), HasSubstr("another size"));
  const auto column = [this](const Body& body) {
    return WrongColumns(1, Writing().N(0).Sized(body));
  };
  EXPECT_THAT(column(Writing().N(2).N(3).N(0).S(1).S(1)), HasSubstr("damaged"))
      << "equal positions";
  EXPECT_THAT(column(Writing().N(2).N(3).N(7).S(1).S(1)), HasSubstr("damaged")) << "behind the end";
  EXPECT_THAT(column(Writing().N(2).N(3).N(4).S(1)), HasSubstr("damaged")) << "a value is missing";
  EXPECT_THAT(column(Writing().N(2).N(3).N(4).S(1).S(1).S(1)), HasSubstr("damaged")) << "too many";
  EXPECT_THAT(column(Writing().N(11)), HasSubstr("damaged")) << "more values than records";
  const auto records = [this](const Body& body) {
    return WrongColumns(1, Writing().N(2).Sized(body));
  };
  EXPECT_EQ("", records(Writing().N(2).N(3).N(0).N(1).N(8)));
  EXPECT_THAT(records(Writing().N(1).N(3).N(0)), HasSubstr("damaged")) << "it consumes itself";
  EXPECT_THAT(records(Writing().N(1).N(3).N(9)), HasSubstr("damaged")) << "before the first record";
  EXPECT_THAT(records(Writing().N(0)), HasSubstr("damaged"));
}

TEST_F(NotesTest, BlocksThatGoBackOrOverlapAreRefused) {
  const auto block = [](uint64_t first, uint64_t count) {
    return Block(2, Writing().N(first).N(count).Raw(NO_PRINT).N(0));
  };
  EXPECT_FALSE(Open(MAGIC + block(0, 10) + block(10, 1) + block(20, 1))->End());
  const std::unique_ptr<NotesFile> notes = Open(MAGIC + block(0, 10) + block(9, 1));
  EXPECT_THAT(notes->End().reason, HasSubstr("told of"));
  EXPECT_EQ(10U, notes->Records());
  EXPECT_TRUE(Open(MAGIC + block(0, 0))->End());
  EXPECT_TRUE(Open(MAGIC + block(0, 65537))->End());
  EXPECT_TRUE(Open(MAGIC + block(UINT64_MAX, 2))->End());
}

TEST_F(NotesTest, SamplesThatContradictThemselvesAreRefused) {
  const auto samples = [this](const Body& body) {
    return Open(MAGIC + Block(1, Writing().Sized(Writing().N(3).N(0).T("queue").T(""))) +
                Block(3, body))
        ->End()
        .reason;
  };
  EXPECT_EQ("", samples(Writing().N(1).S(7).N(0).S(2).S(3).N(0).S(-5)));
  EXPECT_THAT(samples(Writing().N(1).S(7).N(1).S(2).S(3).N(0).S(-5)), HasSubstr("not declared"));
  EXPECT_THAT(samples(Writing().N(1).S(7).N(0).S(-2).S(3).N(0).S(-5)), HasSubstr("damaged"));
  EXPECT_THAT(samples(Writing().N(1).S(7).N(0).S(2).S(3).N(2).S(-5)), HasSubstr("damaged"));
  EXPECT_THAT(samples(Writing().N(1).S(7).N(0).S(2).S(3).N(1).S(-5)), HasSubstr("damaged"));
  EXPECT_THAT(samples(Writing().N(0)), HasSubstr("damaged"));
}

}  // namespace
}  // namespace marrowfin::testing
