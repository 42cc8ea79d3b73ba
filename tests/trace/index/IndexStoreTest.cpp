#include "trace/index/IndexStore.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>

#include "tests/support/Files.h"
#include "tests/trace/support/Child.h"
#include "tests/trace/support/Opened.h"

namespace marrowfin::testing {
namespace {

namespace fs = std::filesystem;

std::span<const uint8_t> Bytes(const std::string& text) {
  return {reinterpret_cast<const uint8_t*>(text.data()), text.size()};
}

std::string TextAt(const PositionedFile& file, uint64_t offset, size_t length) {
  std::string text(length, ' ');
  EXPECT_TRUE(IsFine(file.ReadAt(offset, length, reinterpret_cast<uint8_t*>(text.data()))));
  return text;
}

std::string TextOf(const PositionedFile& file) {
  return TextAt(file, 0, static_cast<size_t>(file.Size()));
}

// Both kinds of store promise the same.
enum Kind { FILES, MEMORY };

class IndexStoreTest : public ::testing::TestWithParam<Kind> {
 protected:
  std::unique_ptr<IndexStore> Store() {
    return GetParam() == MEMORY ? IndexInMemory() : IndexFileAt(folder.File("i"), 0644);
  }

  TempDir folder;
};

TEST_P(IndexStoreTest, StoreWithoutAnIndexFindsNone) { EXPECT_TRUE(Store()->Find().empty()); }

TEST_P(IndexStoreTest, WhatIsCommittedIsFound) {
  const auto store = Store();
  const auto draft = Made(store->Create());
  EXPECT_TRUE(IsFine(draft->Append(Bytes("one "))));
  EXPECT_TRUE(IsFine(draft->Append(Bytes("two "))));
  EXPECT_TRUE(IsFine(draft->Append(Bytes("three"))));
  EXPECT_EQ(draft->Size(), 13U);
  EXPECT_TRUE(store->Find().empty()) << "it is found before it is whole";
  const auto file = Made(draft->Commit());
  EXPECT_EQ(TextOf(*file), "one two three");
  EXPECT_EQ(TextAt(*file, 2, 7), "e two t");
  EXPECT_EQ(TextAt(*file, 4, 4), "two ");
  const auto found = store->Find();
  ASSERT_EQ(found.size(), 1U);
  EXPECT_EQ(TextOf(*found[0]), "one two three");
  EXPECT_FALSE(draft->Refusal());
}

TEST_P(IndexStoreTest, WhatIsNotCommittedLeavesNothing) {
  const auto store = Store();
  EXPECT_TRUE(IsFine(Made(store->Create())->Append(Bytes("one"))));
  EXPECT_TRUE(store->Find().empty());
  EXPECT_TRUE(fs::is_empty(folder.Path()));
}

TEST_P(IndexStoreTest, LaterIndexReplacesTheOneBefore) {
  const auto store = Store();
  for (const std::string text : {"first", "second"}) {
    const auto draft = Made(store->Create());
    EXPECT_TRUE(IsFine(draft->Append(Bytes(text))));
    Made(draft->Commit());
    ASSERT_EQ(store->Find().size(), 1U);
    EXPECT_EQ(TextOf(*store->Find()[0]), text);
  }
}

TEST_P(IndexStoreTest, WhatIsWrittenSoFarCanBeReadAndStaysAsItIs) {
  const auto store = Store();
  auto draft = Made(store->Create());
  EXPECT_TRUE(IsFine(draft->Append(Bytes("one"))));
  const auto before = Made(draft->Written());
  EXPECT_TRUE(IsFine(draft->Append(Bytes("two"))));
  EXPECT_EQ(TextOf(*before), "one");
  EXPECT_EQ(TextOf(*Made(draft->Written())), "onetwo");
  uint8_t byte = 0;
  EXPECT_EQ(before->ReadAt(3, 1, &byte).kind, Fault::CHANGED);
  const auto file = Made(draft->Commit());
  draft.reset();
  EXPECT_EQ(TextOf(*before), "one");
  EXPECT_EQ(TextOf(*file), "onetwo");
}

INSTANTIATE_TEST_SUITE_P(Kinds, IndexStoreTest, ::testing::Values(FILES, MEMORY),
                         [](const auto& info) { return info.param == FILES ? "Files" : "Memory"; });

// Places.

std::unique_ptr<PositionedFile> Trace(const std::string& name) {
  return Made(OpenPlainFile(name, PlainAccess::READ));
}

std::string PlaceOf(const PositionedFile& trace) {
  const auto store = IndexFilesOf(trace);
  const auto draft = Made(store->Create());
  EXPECT_TRUE(IsFine(draft->Append(Bytes("x"))));
  return Made(draft->Commit())->Name();
}

TEST(IndexPlacesTest, IndexLiesBesideTheFileThatStandardInputIs) {
  const TempDir folder;
  const std::string name = folder.File("t");
  WriteFile(name, "trace");
  setenv("XDG_CACHE_HOME", folder.File("cache").c_str(), 1);
  ExpectInChild([&] {
    ASSERT_NE(freopen(name.c_str(), "r", stdin), nullptr);
    for (const std::string input : {"/dev/stdin", "/proc/self/fd/0", "/dev/fd/0"}) {
      EXPECT_EQ(PlaceOf(*Trace(input)), fs::canonical(name).string() + ".mfindex") << input;
      EXPECT_FALSE(fs::exists(input + ".mfindex"));
      fs::remove(name + ".mfindex");
    }
  });
}

TEST(IndexPlacesTest, FileWithoutANameHasAnIndexWithoutOne) {
  const TempDir folder;
  const std::string name = folder.File("t");
  WriteFile(name, "trace");
  setenv("XDG_CACHE_HOME", folder.File("cache").c_str(), 1);
  ExpectInChild([&] {
    ASSERT_NE(freopen(name.c_str(), "r", stdin), nullptr);
    fs::remove(name);
    // Another file that has the name by now is another trace.
    WriteFile(folder.File("t (deleted)"), "another");
    EXPECT_EQ(PlaceOf(*Trace("/dev/stdin")), "");
    EXPECT_FALSE(fs::exists("/dev/stdin.mfindex"));
    EXPECT_FALSE(fs::exists(folder.File("cache")));
  });
}

TEST(IndexPlacesTest, IndexOfALinkLiesBesideTheLink) {
  const TempDir folder;
  WriteFile(folder.File("t"), "trace");
  fs::create_symlink(folder.File("t"), folder.File("link"));
  EXPECT_EQ(PlaceOf(*Trace(folder.File("link"))), folder.File("link.mfindex"));
}

TEST(IndexPlacesTest, IndexGoesOnInTheNextPlaceWhereTheDiskIsFull) {
  const TempDir folder;
  const std::string disk = folder.File("disk");
  fs::create_directory(disk);
  setenv("XDG_CACHE_HOME", folder.File("cache").c_str(), 1);
  ExpectInChild([&] {
    ASSERT_NO_FATAL_FAILURE(MountSmallDisk(disk, 1 << 20));
    WriteFile(disk + "/t", "trace");
    const auto store = IndexFilesOf(*Trace(disk + "/t"));
    const auto draft = Made(store->Create());
    std::string text;
    for (const char letter : {'a', 'b', 'c', 'd'}) {
      const std::string piece(400 << 10, letter);
      text += piece;
      ASSERT_TRUE(IsFine(draft->Append(Bytes(piece))));
    }
    EXPECT_EQ(draft->Refusal().Text(),
              disk +
                  "/t.mfindex: cannot write the index: No space left on device; make room, or set "
                  "XDG_CACHE_HOME to a folder that has some");
    const auto file = Made(draft->Commit());
    EXPECT_THAT(file->Name(), ::testing::StartsWith(folder.File("cache/marrowfin/t-")));
    EXPECT_EQ(TextOf(*file), text);
    EXPECT_EQ(std::distance(fs::directory_iterator(disk), fs::directory_iterator()), 1);
  });
}

}  // namespace
}  // namespace marrowfin::testing
