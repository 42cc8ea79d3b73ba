#include "tests/explorer/core/ReadAnswer.h"

#include <cstring>
#include <stdexcept>

namespace marrowfin::testing {
namespace {

constexpr size_t SIZES[] = {0, 1, 2, 4, 8, 4, 4, 8};

// Bytes of which each read is checked.
class Bytes {
 public:
  explicit Bytes(const std::vector<uint8_t>& bytes) : bytes(bytes) {}

  const uint8_t* Take(size_t size) {
    if (size > bytes.size() - at) {
      throw std::runtime_error("the answer ends at byte " + std::to_string(bytes.size()));
    }
    at += size;
    return bytes.data() + at - size;
  }

  uint64_t Number(size_t size) {
    const uint8_t* const begin = Take(size);
    uint64_t number = 0;
    for (size_t i = size; i-- > 0;) {
      number = number << 8 | begin[i];
    }
    return number;
  }

  void Align() {
    while (at % 8 != 0) {
      if (*Take(1) != 0) {
        throw std::runtime_error("a byte between columns is not 0");
      }
    }
  }

  bool AtEnd() const { return at == bytes.size(); }

 private:
  const std::vector<uint8_t>& bytes;
  size_t at = 0;
};

template <class T>
T NumberAt(const std::vector<uint8_t>& bytes, size_t i) {
  T value;
  memcpy(&value, bytes.data() + i * sizeof(T), sizeof(T));
  return value;
}

}  // namespace

std::string ReadAnswer::Code() const {
  return head.contains("error") ? head["error"]["code"].get<std::string>() : "";
}

std::vector<uint64_t> ReadAnswer::Wide(const std::string& name) const {
  const Column& column = columns.at(name);
  std::vector<uint64_t> numbers;
  for (size_t i = 0; i < column.elements; ++i) {
    numbers.push_back(NumberAt<uint64_t>(column.bytes, i));
  }
  return numbers;
}

std::vector<double> ReadAnswer::Of(const std::string& name) const {
  const Column& column = columns.at(name);
  std::vector<double> numbers;
  for (size_t i = 0; i < column.elements; ++i) {
    switch (column.type) {
      case 1:
        numbers.push_back(NumberAt<uint8_t>(column.bytes, i));
        break;
      case 2:
        numbers.push_back(NumberAt<uint16_t>(column.bytes, i));
        break;
      case 3:
        numbers.push_back(NumberAt<uint32_t>(column.bytes, i));
        break;
      case 4:
        numbers.push_back(static_cast<double>(NumberAt<uint64_t>(column.bytes, i)));
        break;
      case 5:
        numbers.push_back(NumberAt<int32_t>(column.bytes, i));
        break;
      case 6:
        numbers.push_back(NumberAt<float>(column.bytes, i));
        break;
      default:
        numbers.push_back(NumberAt<double>(column.bytes, i));
    }
  }
  return numbers;
}

ReadAnswer ReadAnswerBytes(const std::vector<uint8_t>& bytes) {
  Bytes in(bytes);
  if (memcmp(in.Take(4), "MFEA", 4) != 0 || in.Number(4) != 1) {
    throw std::runtime_error("no answer of protocol 1");
  }
  const uint64_t headSize = in.Number(4);
  std::vector<ReadAnswer::Column> columns(in.Number(4));
  for (ReadAnswer::Column& column : columns) {
    column.type = static_cast<uint32_t>(in.Number(4));
    if (in.Number(4) != 0 || column.type < 1 || column.type > 7) {
      throw std::runtime_error("an entry of the table of columns is none");
    }
    column.elements = in.Number(8);
  }
  const uint8_t* const text = in.Take(headSize);
  ReadAnswer answer;
  answer.head = nlohmann::json::parse(text, text + headSize);
  for (size_t i = 0; i < columns.size(); ++i) {
    in.Align();
    const size_t size = columns[i].elements * SIZES[columns[i].type];
    const uint8_t* const begin = in.Take(size);
    columns[i].bytes.assign(begin, begin + size);
    answer.columns[answer.head.at("columns").at(i)] = columns[i];
  }
  if (columns.empty()) {
    in.Align();
  }
  if (!in.AtEnd() || answer.columns.size() != columns.size() ||
      answer.head.at("columns").size() != columns.size()) {
    throw std::runtime_error("the columns are not those that the head names");
  }
  return answer;
}

}  // namespace marrowfin::testing
