#include "trace/ask/NoteCondition.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <bit>

namespace marrowfin::testing {
namespace {

using ::testing::HasSubstr;

NoteDeclarations Declared() {
  NoteDeclarations declarations;
  declarations.attributes = {{NoteType::NAME, "kind", "", {{0, "compute"}, {3, "wait"}}},
                             {NoteType::NUMBER, "packet", "", {}},
                             {NoteType::REAL, "energy", "pJ", {}},
                             {NoteType::RECORDS, "consumes", "", {}},
                             {NoteType::CYCLE, "created", "", {}}};
  return declarations;
}

NoteCondition Parsed(const std::string& text) {
  const Result<NoteCondition> condition = ParseNoteCondition(text, Declared(), "t.notes");
  EXPECT_TRUE(condition) << condition.Why().Text();
  return condition ? *condition : NoteCondition();
}

std::string Refused(const std::string& text) {
  const Result<NoteCondition> condition = ParseNoteCondition(text, Declared(), "t.notes");
  EXPECT_FALSE(condition) << text;
  EXPECT_EQ(Fault::OUT_OF_RANGE, condition.Why().kind);
  return condition.Why().Text();
}

uint64_t Bits(double real) { return std::bit_cast<uint64_t>(real); }

TEST(NoteConditionTest, EveryComparisonIsReadAsPeopleWriteIt) {
  EXPECT_EQ(Parsed("packet"), (NoteCondition{1, NoteCondition::HAS, 0, 0}));
  EXPECT_EQ(Parsed("!packet"), (NoteCondition{1, NoteCondition::HAS_NOT, 0, 0}));
  EXPECT_EQ(Parsed("packet=16538"), (NoteCondition{1, NoteCondition::EQUAL, 16538, 0}));
  EXPECT_EQ(Parsed(" packet != 7 "), (NoteCondition{1, NoteCondition::NOT_EQUAL, 7, 0}));
  EXPECT_EQ(Parsed("packet<7"), (NoteCondition{1, NoteCondition::BELOW, 7, 0}));
  EXPECT_EQ(Parsed("packet<=7"), (NoteCondition{1, NoteCondition::AT_MOST, 7, 0}));
  EXPECT_EQ(Parsed("packet>7"), (NoteCondition{1, NoteCondition::ABOVE, 7, 0}));
  EXPECT_EQ(Parsed("packet>=7"), (NoteCondition{1, NoteCondition::AT_LEAST, 7, 0}));
  EXPECT_EQ(Parsed("created=100 .. 200"), (NoteCondition{4, NoteCondition::BETWEEN, 100, 200}));
  EXPECT_EQ(Parsed("consumes~17"), (NoteCondition{3, NoteCondition::CONTAINS, 17, 0}));
}

TEST(NoteConditionTest, ValuesAreNamesNumbersOrReals) {
  EXPECT_EQ(Parsed("kind=wait").value, 3U);
  EXPECT_EQ(Parsed("kind=4").value, 4U);
  EXPECT_EQ(Parsed("energy<-2.5").value, Bits(-2.5));
  EXPECT_EQ(Parsed("energy=0.5..1e3").last, Bits(1000));
}

TEST(NoteConditionTest, WhatCannotBeAskedIsToldWithWhatCan) {
  EXPECT_THAT(Refused("colour=3"), HasSubstr("no attribute \"colour\""));
  EXPECT_THAT(Refused("colour=3"), HasSubstr("kind, packet, energy, consumes, created"));
  EXPECT_THAT(Refused("kind=work"), HasSubstr("compute, wait"));
  EXPECT_THAT(Refused("packet=12a"), HasSubstr("no value of packet"));
  EXPECT_THAT(Refused("packet=-1"), HasSubstr("no value of packet"));
  EXPECT_THAT(Refused("packet<1..2"), HasSubstr("no value of packet"));
  EXPECT_THAT(Refused("packet="), HasSubstr("no value of packet"));
  EXPECT_THAT(Refused("!packet=3"), HasSubstr("no condition"));
  EXPECT_THAT(Refused("consumes=17"), HasSubstr("consumes~NUMBER"));
  EXPECT_THAT(Refused("packet~17"), HasSubstr("packet=VALUE"));
  EXPECT_THAT(Refused(""), HasSubstr("no attribute \"\""));
}

TEST(NoteConditionTest, ValuesAreShownByTheirNames) {
  const NoteDeclarations declared = Declared();
  EXPECT_EQ("wait", NoteValueText(declared.attributes[0], 3));
  EXPECT_EQ("4", NoteValueText(declared.attributes[0], 4));
  EXPECT_EQ("18446744073709551615", NoteValueText(declared.attributes[1], ~uint64_t{0}));
  EXPECT_EQ("0.1", NoteValueText(declared.attributes[2], Bits(0.1)));
}

}  // namespace
}  // namespace marrowfin::testing
