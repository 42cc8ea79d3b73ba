#include "Marrowfin/Location.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <map>
#include <new>
#include <sstream>
#include <string>
#include <type_traits>
#include <vector>

#include "tests/support/VirtualSlots.h"

namespace {

using marrowfin::testing::CallVirtualSlot;
using marrowfin::testing::VirtualSlot;

std::string TextOf(const Location& location) {
  std::string s;
  return location.ToString(s);
}

TEST(LocationTest, TheConstructorTakesTheRowFirst) {
  const Location location(3, 12);
  EXPECT_EQ(3u, location.row);
  EXPECT_EQ(12u, location.column);
}

TEST(LocationTest, TheTextShowsTheColumnFirst) { EXPECT_EQ("(   12,     3)", TextOf({3, 12})); }

TEST(LocationTest, EachNumberIsRightAlignedInFiveColumns) {
  EXPECT_EQ("(    0,     0)", TextOf({0, 0}));
  EXPECT_EQ("(12345, 67890)", TextOf({67890, 12345}));
}

TEST(LocationTest, ANumberWiderThanFiveDigitsIsPrintedInFull) {
  EXPECT_EQ("(123456,     0)", TextOf({0, 123456}));
  EXPECT_EQ("(4294967295, 4294967295)", TextOf({4294967295U, 4294967295U}));
}

TEST(LocationTest, AReusedStringHoldsOnlyTheLastText) {
  std::string s = "before";
  EXPECT_STREQ("(    2,     1)", Location(1, 2).ToString(s));
  EXPECT_STREQ("(    4,     3)", Location(3, 4).ToString(s));
  EXPECT_EQ("(    4,     3)", s);
}

TEST(LocationTest, TheResultIsTheStringsOwnStorage) {
  std::string s;
  EXPECT_EQ(static_cast<const void*>(Location(1, 2).ToString(s)), s.c_str());
}

TEST(LocationTest, AHigherRowComesFirst) {
  EXPECT_TRUE(Location(2, 0) < Location(1, 9));
  EXPECT_FALSE(Location(1, 9) < Location(2, 0));
}

TEST(LocationTest, InARowAHigherColumnComesFirst) {
  EXPECT_TRUE(Location(1, 3) < Location(1, 2));
  EXPECT_FALSE(Location(1, 2) < Location(1, 3));
}

TEST(LocationTest, NumbersAreComparedUnsigned) {
  EXPECT_TRUE(Location(0x80000000, 0) < Location(0x7FFFFFFF, 0));
  EXPECT_TRUE(Location(0, 0x80000000) < Location(0, 0x7FFFFFFF));
}

TEST(LocationTest, SortingGoesFromTheFarCornerToTheOrigin) {
  std::vector<Location> locations = {{0, 0}, {0, 1}, {1, 0}};
  std::sort(locations.begin(), locations.end());
  EXPECT_EQ((std::vector<Location>{{1, 0}, {0, 1}, {0, 0}}), locations);
}

TEST(LocationTest, AMapKeyedByLocationIsWalkedInDescendingOrder) {
  std::map<Location, int> map;
  for (unsigned row = 0; row < 3; ++row) {
    for (unsigned column = 0; column < 3; ++column) {
      map[Location(row, column)] = static_cast<int>(3 * row + column);
    }
  }
  std::vector<int> walked;
  for (const auto& [location, number] : map) {
    walked.push_back(number);
  }
  EXPECT_EQ((std::vector<int>{8, 7, 6, 5, 4, 3, 2, 1, 0}), walked);
}

TEST(LocationTest, OfTwoDifferentLocationsExactlyOneComesFirstAndNoneBeforeItself) {
  const std::vector<unsigned> numbers = {0, 1, 2, 0x7FFFFFFF, 0x80000000, 0xFFFFFFFF};
  std::vector<Location> locations;
  for (unsigned row : numbers) {
    for (unsigned column : numbers) {
      locations.emplace_back(row, column);
    }
  }
  for (const Location& a : locations) {
    for (const Location& b : locations) {
      EXPECT_EQ(&a == &b ? 0 : 1, (a < b) + (b < a)) << TextOf(a) << TextOf(b);
      EXPECT_EQ(&a == &b, a == b) << TextOf(a) << TextOf(b);
    }
  }
}

TEST(LocationTest, LocationsAreEqualWhenBothNumbersAre) {
  EXPECT_TRUE(Location(1, 2) == Location(1, 2));
  EXPECT_FALSE(Location(1, 2) == Location(1, 3));
  EXPECT_FALSE(Location(1, 2) == Location(2, 2));
  EXPECT_FALSE(Location(1, 2) == Location(2, 1));
}

TEST(LocationTest, TheDistanceIsTheSumOfBothDifferencesInAnyDirection) {
  EXPECT_EQ(8u, Location(10, 20).ManhattanDistance(Location(13, 25)));
  EXPECT_EQ(8u, Location(13, 25).ManhattanDistance(Location(10, 20)));
  EXPECT_EQ(8u, Location(13, 20).ManhattanDistance(Location(10, 25)));
  EXPECT_EQ(8u, Location(10, 25).ManhattanDistance(Location(13, 20)));
  EXPECT_EQ(0u, Location(10, 20).ManhattanDistance(Location(10, 20)));
}

TEST(LocationTest, TheDistanceIsAnUnsigned32BitValue) {
  const Location origin(0, 0);
  EXPECT_EQ(4294967295U, origin.ManhattanDistance(Location(4294967295U, 0)));
  EXPECT_EQ(4294967295U, origin.ManhattanDistance(Location(0, 4294967295U)));
  EXPECT_EQ(4294967294U, origin.ManhattanDistance(Location(4294967295U, 4294967295U)));
  static_assert(std::is_same_v<unsigned, decltype(origin.ManhattanDistance(origin))>);
}

struct NamedLocation : Location {
  using Location::Location;
  using Location::ToString;
  const char* ToString(std::string& s) const override { return (s = "named").c_str(); }
};

TEST(LocationTest, ACopyHasBothNumbersAndIsALocationOfItsOwn) {
  const NamedLocation named(7, 8);
  const Location copy(named);
  EXPECT_EQ(7u, copy.row);
  EXPECT_EQ(8u, copy.column);
  EXPECT_EQ("(    8,     7)", TextOf(copy));
}

TEST(LocationTest, AssignmentTakesBothNumbersAndNothingElse) {
  NamedLocation target(0, 0);
  Location& location = target;
  EXPECT_EQ(&location, &(location = Location(5, 6)));
  EXPECT_EQ(5u, target.row);
  EXPECT_EQ(6u, target.column);
  EXPECT_EQ("named", TextOf(target));
}

TEST(LocationTest, TheFieldsFollowTheVirtualTableRowFirst) {
  const Location location(0, 0);
  const char* start = reinterpret_cast<const char*>(&location);
  EXPECT_EQ(static_cast<ptrdiff_t>(sizeof(void*)),
            reinterpret_cast<const char*>(&location.row) - start);
  EXPECT_EQ(static_cast<ptrdiff_t>(sizeof(void*) + 4),
            reinterpret_cast<const char*>(&location.column) - start);
  EXPECT_EQ(sizeof(void*) + 8, sizeof(Location));
  static_assert(std::is_same_v<uint32, decltype(location.row)>);
  static_assert(std::is_same_v<uint32, decltype(location.column)>);
}

TEST(LocationTest, TheVirtualOperationsStandInThePrintablesOrder) {
  EXPECT_EQ(0u, VirtualSlot(static_cast<const char* (Location::*)()>(&Location::ToString)));
  EXPECT_EQ(
      1u,
      VirtualSlot(static_cast<const char* (Location::*)(std::string&) const>(&Location::ToString)));
  EXPECT_EQ(2u, VirtualSlot(&Location::Print));
  static bool destroyed;
  struct Noted : Location {
    using Location::Location;
    ~Noted() override { destroyed = true; }
  };
  alignas(Noted) char storage[sizeof(Noted)];
  CallVirtualSlot(new (storage) Noted(0, 0), 3);
  EXPECT_TRUE(destroyed);
}

TEST(LocationTest, TheLargestRowAndColumnAreAllOnes) {
  static_assert(std::is_same_v<const uint32, decltype(Location::MAX_ROW)>);
  static_assert(std::is_same_v<const uint32, decltype(Location::MAX_COLUMN)>);
  EXPECT_EQ(4294967295U, Location::MAX_ROW);
  EXPECT_EQ(4294967295U, Location::MAX_COLUMN);
}

// The permissions of the mapping that an address lies in, such as "rw-p".
std::string PermissionsOf(const void* address) {
  const auto wanted = reinterpret_cast<uintptr_t>(address);
  std::ifstream maps("/proc/self/maps");
  std::string line;
  while (std::getline(maps, line)) {
    uintptr_t start;
    uintptr_t end;
    char dash;
    std::string permissions;
    std::istringstream(line) >> std::hex >> start >> dash >> end >> permissions;
    if (start <= wanted && wanted < end) {
      return permissions;
    }
  }
  return "none";
}

// A constant that start-up code computes has to stand in memory that can be written.
TEST(LocationTest, TheConstantsAreDataAndNotComputedAtStartUp) {
  EXPECT_EQ("r--p", PermissionsOf(&Location::MAX_ROW));
  EXPECT_EQ("r--p", PermissionsOf(&Location::MAX_COLUMN));
  static int written;
  EXPECT_EQ("rw-p", PermissionsOf(&written));
}

TEST(LocationTest, ALocationPrintsItselfToAStream) {
  Location location(1, 2);
  char* text = nullptr;
  size_t size = 0;
  FILE* stream = open_memstream(&text, &size);
  location.Print(stream);
  fclose(stream);
  EXPECT_STREQ("(    2,     1)", text);
  free(text);
  EXPECT_STREQ("(    2,     1)", location.ToString());
}

}  // namespace
