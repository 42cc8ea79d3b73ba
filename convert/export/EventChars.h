#ifndef CONVERT_EXPORT_EVENTCHARS_H
#define CONVERT_EXPORT_EVENTCHARS_H

#include <array>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

namespace marrowfin {

// Puts characters behind each other where there is room for all of them, so that a line of a list
// costs no more than copying it: a string that grows looks for room at every piece. Numbers below
// 1000, as threads, columns and rows mostly are, are looked up. Threads: one at a time.
class EventChars {
 public:
  static constexpr size_t LONGEST_NUMBER = 20;

  // At least so many characters more than the ones that are put have room behind `out`'s; what is
  // put goes behind those that are there.
  EventChars(std::string& out, size_t room) : out(out), start(out.size()) {
    out.resize(start + room);
    next = out.data() + start;
  }
  EventChars(const EventChars&) = delete;
  EventChars& operator=(const EventChars&) = delete;
  ~EventChars() { out.resize(static_cast<size_t>(next - out.data())); }

  // A text of fixed length.
  template <size_t SIZE>
  void Put(const char (&text)[SIZE]) {
    memcpy(next, text, SIZE - 1);
    next += SIZE - 1;
  }

  void Put(char c) { *next++ = c; }

  void Number(uint64_t number) {
    if (number < SMALL) {
      const SmallNumber& small = Small()[number];
      memcpy(next, small.digits, sizeof(small.digits));
      next += small.size;
    } else {
      next = std::to_chars(next, next + LONGEST_NUMBER, number).ptr;
    }
  }

  // The number that was put before is copied where it is the same.
  void Repeated(uint64_t number, uint64_t& before, std::string& text) {
    if (number != before || text.empty()) {
      char digits[LONGEST_NUMBER];
      text.assign(digits, std::to_chars(digits, digits + sizeof(digits), number).ptr);
      before = number;
    }
    memcpy(next, text.data(), text.size());
    next += text.size();
  }

 private:
  static constexpr size_t SMALL = 1000;

  struct SmallNumber {
    char digits[3];
    uint8_t size;
  };

  static const std::array<SmallNumber, SMALL>& Small() {
    static const std::array<SmallNumber, SMALL> numbers = [] {
      std::array<SmallNumber, SMALL> made = {};
      for (size_t i = 0; i < SMALL; ++i) {
        const char* const end = std::to_chars(made[i].digits, made[i].digits + 3, i).ptr;
        made[i].size = static_cast<uint8_t>(end - made[i].digits);
      }
      return made;
    }();
    return numbers;
  }

  std::string& out;
  const size_t start;
  char* next;
};

}  // namespace marrowfin

#endif
