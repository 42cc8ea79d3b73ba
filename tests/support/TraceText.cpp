#include "tests/support/TraceText.h"

#include <charconv>
#include <cstdint>
#include <limits>
#include <sstream>
#include <stdexcept>
#include <vector>

namespace marrowfin::testing {

namespace {

// The words of one line, taken from left to right.
class Words {
 public:
  explicit Words(const std::string& line) : line(line), stream(line) {}

  bool Next(std::string& word) { return static_cast<bool>(stream >> word); }

  uint64_t Number(uint64_t max, int base = 10) {
    std::string word;
    if (!Next(word)) {
      Fail("a number is missing");
    }
    return Parse(word, max, base);
  }

  uint64_t Parse(const std::string& word, uint64_t max, int base) const {
    uint64_t value = 0;
    const char* end = word.data() + word.size();
    const auto [stop, error] = std::from_chars(word.data(), end, value, base);
    if (error != std::errc() || stop != end || value > max) {
      Fail("bad number \"" + word + "\"");
    }
    return value;
  }

  void ExpectEnd() {
    std::string word;
    if (Next(word)) {
      Fail("unexpected \"" + word + "\"");
    }
  }

  [[noreturn]] void Fail(const std::string& why) const {
    throw std::invalid_argument("trace text, line \"" + line + "\": " + why);
  }

 private:
  std::string line;
  std::istringstream stream;
};

constexpr uint64_t MAX_32 = std::numeric_limits<uint32_t>::max();
constexpr uint64_t MAX_64 = std::numeric_limits<uint64_t>::max();

void AppendBigEndian(std::string& bytes, uint64_t value, int width) {
  for (int shift = 8 * (width - 1); shift >= 0; shift -= 8) {
    bytes += static_cast<char>((value >> shift) & 0xFF);
  }
}

// Cycle and thread, which follow the type in every record.
void AppendOrigin(std::string& bytes, Words& words) {
  AppendBigEndian(bytes, words.Number(MAX_64), 8);
  AppendBigEndian(bytes, words.Number(MAX_32), 4);
}

void AppendEvent(std::string& bytes, Words& words, uint32_t type, int numbers) {
  AppendBigEndian(bytes, type, 4);
  AppendOrigin(bytes, words);
  AppendBigEndian(bytes, 4 * numbers, 4);
  for (int i = 0; i < numbers; ++i) {
    AppendBigEndian(bytes, words.Number(MAX_32), 4);
  }
}

void AppendHexBytes(std::string& bytes, Words& words) {
  std::string word;
  while (words.Next(word)) {
    if (word.size() % 2 != 0) {
      words.Fail("half a byte in \"" + word + "\"");
    }
    for (size_t i = 0; i < word.size(); i += 2) {
      bytes += static_cast<char>(words.Parse(word.substr(i, 2), 0xFF, 16));
    }
  }
}

void AppendRaw(std::string& bytes, Words& words) {
  AppendBigEndian(bytes, words.Number(MAX_32), 4);
  AppendOrigin(bytes, words);
  AppendBigEndian(bytes, words.Number(MAX_32), 4);
  AppendHexBytes(bytes, words);
}

void AppendLine(std::string& bytes, const std::string& line) {
  Words words(line);
  std::string kind;
  if (!words.Next(kind) || kind[0] == '#') {
    return;
  }
  if (kind == "fire") {
    AppendEvent(bytes, words, 3, 2);
  } else if (kind == "switch") {
    AppendEvent(bytes, words, 2, 2);
  } else if (kind == "send") {
    AppendEvent(bytes, words, 4, 4);
  } else if (kind == "raw") {
    AppendRaw(bytes, words);
  } else {
    words.Fail("unknown record \"" + kind + "\"");
  }
  words.ExpectEnd();
}

}  // namespace

std::string TraceBytes(const std::string& text) {
  std::string bytes;
  std::istringstream stream(text);
  std::string line;
  while (std::getline(stream, line)) {
    AppendLine(bytes, line);
  }
  return bytes;
}

}  // namespace marrowfin::testing
