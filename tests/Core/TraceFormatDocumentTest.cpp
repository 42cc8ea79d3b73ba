// What the page on the trace format shows is what the library does.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "Core/VisTool.h"
#include "tests/Core/RecordingFile.h"
#include "tests/support/Files.h"
#include "tests/support/TraceText.h"

namespace {

using marrowfin::testing::ReadFile;
using marrowfin::testing::TempDir;
using marrowfin::testing::TraceBytes;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

std::string Source(const std::string& path) {
  return ReadFile(std::string(MARROWFIN_SOURCE_DIR) + "/" + path);
}

std::string Page() { return Source("docs/trace-format.md"); }

std::vector<std::string> Lines(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) {
    lines.push_back(line);
  }
  return lines;
}

// The contents of the block that is fenced with the given word; there must be one.
std::string Block(const std::string& word) {
  std::string block;
  int found = 0;
  bool inside = false;
  for (const std::string& line : Lines(Page())) {
    if (line == "```" + word) {
      inside = true;
      ++found;
    } else if (line == "```") {
      inside = false;
    } else if (inside) {
      block += line + "\n";
    }
  }
  EXPECT_EQ(1, found) << word;
  return block;
}

// The cells of the table rows that have `columns` of them, without blanks around and the marks of
// code.
std::vector<std::vector<std::string>> Rows(size_t columns) {
  std::vector<std::vector<std::string>> rows;
  for (const std::string& line : Lines(Page())) {
    std::vector<std::string> cells;
    std::istringstream stream(line);
    std::string cell;
    std::getline(stream, cell, '|');
    while (std::getline(stream, cell, '|')) {
      std::erase(cell, '`');
      cell.erase(0, cell.find_first_not_of(' '));
      cell.erase(cell.find_last_not_of(' ') + 1);
      cells.push_back(cell);
    }
    if (cells.size() == columns && line[0] == '|') {
      rows.push_back(cells);
    }
  }
  return rows;
}

// The bytes that are shown as hexadecimal digits.
std::string ShownBytes() {
  std::string digits = Block("trace-bytes");
  std::erase_if(digits, [](char c) { return c == ' ' || c == '\n'; });
  std::string bytes;
  for (size_t i = 0; i < digits.size(); i += 2) {
    bytes += static_cast<char>(std::stoi(digits.substr(i, 2), nullptr, 16));
  }
  return bytes;
}

TEST(TraceFormatDocumentTest, TheExamplesBytesAreThoseOfItsText) {
  EXPECT_EQ(TraceBytes(Block("trace-text")), ShownBytes());
  EXPECT_EQ(28u + 28u + 36u, ShownBytes().size());
}

TEST(TraceFormatDocumentTest, TheExamplesBytesAreWhatTheLibraryWrites) {
  const TempDir dir;
  VisTool vis;
  vis.outFilename = dir.File("trace");
  vis.InitializeForWrite();
  vis.WriteEvent(new PEFire(5, 1, Location(2, 7)));
  vis.WriteEvent(new NetworkSwitchTransmission(6, 0, Location(4, 4)));
  vis.WriteEvent(new MessageSend(260, 2, Location(2, 7), Location(1, 0)));
  vis.outFile.Close();
  EXPECT_EQ(ShownBytes(), ReadFile(vis.outFilename));
}

TEST(TraceFormatDocumentTest, TheTableOfARecordHasTheFieldsThatTheLibraryWrites) {
  BinaryEvent record;
  PEFire(5, 1, Location(2, 7)).ToBinaryEvent(record);
  RecordingFile file;
  record.Write(file);
  const char* const fields[] = {"type", "cyc", "tid", "dataLength", "data"};
  unsigned long offset = 0;
  size_t field = 0;
  for (const auto& row : Rows(4)) {
    if (field < 5 && row[2] == fields[field]) {
      EXPECT_EQ(std::to_string(offset), row[0]);
      EXPECT_EQ(field == 4 ? "N" : std::to_string(file.calls[field]), row[1]);
      offset += file.calls[field++];
    }
  }
  EXPECT_EQ(5u, field);
}

TEST(TraceFormatDocumentTest, TheTableOfTypesHasTheCodesAndLengthsOfTheEvents) {
  const Location l(0, 0);
  const NetworkSwitchTransmission transmission(0, 0, l);
  const PEFire fire(0, 0, l);
  const MessageSend send(0, 0, l, l);
  const std::vector<std::pair<std::string, const VisToolEvent*>> events = {
      {"NetworkSwitchTransmission: ", &transmission},
      {"PEFire: ", &fire},
      {"MessageSend: ", &send}};
  for (const auto& [name, event] : events) {
    BinaryEvent record;
    event->ToBinaryEvent(record);
    int found = 0;
    for (const auto& row : Rows(4)) {
      if (row[1].starts_with(name)) {
        ++found;
        EXPECT_EQ(std::to_string(record.type), row[0]);
        EXPECT_EQ(std::to_string(record.dataLength), row[2]);
      }
    }
    EXPECT_EQ(1, found) << name;
  }
}

TEST(TraceFormatDocumentTest, TheChecksThatThePageNamesAreThoseOfTheSource) {
  const std::string page = Page();
  const std::string source = Source("Core/VisTool.cpp");
  const std::string start = "failed assertion `";
  std::vector<std::string> expressions;
  for (size_t at = page.find(start); at != std::string::npos; at = page.find(start, at + 1)) {
    const size_t begin = at + start.size();
    expressions.push_back(page.substr(begin, page.find('\'', begin) - begin));
    EXPECT_THAT(source, HasSubstr("SIM_ASSERT(" + expressions.back() + ")"));
  }
  EXPECT_THAT(expressions, ElementsAre("0", "e.dataLength == sizeof(uint32) * 2",
                                       "e.dataLength == sizeof(uint32) * 4"));
}

// The page's program; the lines are compared below.
void WriteAsThePageShows(const std::string& directory) {
  ASSERT_EQ(0, chdir(directory.c_str()));
  VisTool vis;
  vis.outFilename = "run.trace";  // or the option -outFilename
  vis.InitializeForWrite();
  vis.WriteEvent(new PEFire(5, 1, Location(2, 7)));  // cycle 5, thread 1, row 2, column 7
  vis.outFile.Close();
}

TEST(TraceFormatDocumentTest, ThePagesProgramWritesATrace) {
  const TempDir dir;
  WriteAsThePageShows(dir.Path());
  EXPECT_EQ(TraceBytes("fire 5 1 7 2"), ReadFile(dir.File("run.trace")));
  const std::vector<std::string> shown = Lines(Block("cpp"));
  EXPECT_THAT(shown, Not(IsEmpty()));
  const std::string here = Source("tests/Core/TraceFormatDocumentTest.cpp");
  for (const std::string& line : shown) {
    EXPECT_THAT(here, HasSubstr("  " + line + "\n"));
  }
}

}  // namespace
