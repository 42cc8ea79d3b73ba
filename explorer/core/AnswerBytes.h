#ifndef EXPLORER_CORE_ANSWERBYTES_H
#define EXPLORER_CORE_ANSWERBYTES_H

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "explorer/core/JsonText.h"
#include "explorer/core/Refusal.h"
#include "trace/base/Place.h"

namespace marrowfin {

// An answer as it travels, as docs/explorer-protocol.md lays it out: a head for small things, and
// columns of numbers that a page takes as they lie.
//
// One number a JSON value was rejected: a picture of 65,536 elements would be parsed for longer
// than it takes to draw it. Threads: one that writes.
class AnswerBytes {
 public:
  static constexpr char MAGIC[] = "MFEA";
  static constexpr uint32_t PROTOCOL = 1;
  static constexpr size_t ALIGNMENT = 8;

  AnswerBytes() { head.Object(); }

  // The head, within its object.
  JsonText& Head() { return head; }

  // Adds a column; elements are 1, 2, 4 or 8 bytes as their type is.
  template <class T>
  void Column(std::string_view name, const std::vector<T>& values) {
    Begin(name, TypeOf<T>(), values.size() * (std::is_same_v<T, Place> ? 2 : 1));
    if constexpr (std::endian::native == std::endian::little) {
      const auto* const bytes = reinterpret_cast<const uint8_t*>(values.data());
      body.insert(body.end(), bytes, bytes + values.size() * sizeof(T));
    } else if constexpr (std::is_same_v<T, Place>) {
      for (const Place& place : values) {
        Put(place.column);
        Put(place.row);
      }
    } else {
      for (const T value : values) {
        Put(value);
      }
    }
  }

  // How long the columns are so far.
  size_t Size() const { return body.size(); }

  // The whole answer, after which this is of no use any more.
  std::vector<uint8_t> Finish();

  // An answer that is a refusal.
  static std::vector<uint8_t> Of(const Refusal& refusal);

 private:
  struct Entry {
    uint32_t type;
    uint64_t elements;
  };

  // The numbers of the types in the table of columns; places are pairs of u32.
  template <class T>
  static constexpr uint32_t TypeOf() {
    if constexpr (std::is_same_v<T, uint8_t>) {
      return 1;
    } else if constexpr (std::is_same_v<T, uint16_t>) {
      return 2;
    } else if constexpr (std::is_same_v<T, uint32_t> || std::is_same_v<T, Place>) {
      return 3;
    } else if constexpr (std::is_same_v<T, uint64_t>) {
      return 4;
    } else if constexpr (std::is_same_v<T, int32_t>) {
      return 5;
    } else if constexpr (std::is_same_v<T, float>) {
      return 6;
    } else {
      static_assert(std::is_same_v<T, double>, "no type of a column");
      return 7;
    }
  }

  template <class T>
  void Put(T value) {
    uint8_t bytes[sizeof(T)];
    memcpy(bytes, &value, sizeof(T));
    for (size_t i = 0; i < sizeof(T); ++i) {
      body.push_back(bytes[sizeof(T) - 1 - i]);
    }
  }

  void Begin(std::string_view name, uint32_t type, size_t elements);

  JsonText head;
  std::vector<std::string> names;
  std::vector<Entry> entries;
  std::vector<uint8_t> body;
};

}  // namespace marrowfin

#endif
