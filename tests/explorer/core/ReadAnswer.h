#ifndef TESTS_EXPLORER_CORE_READANSWER_H
#define TESTS_EXPLORER_CORE_READANSWER_H

#include <cstdint>
#include <map>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace marrowfin::testing {

// An answer, read by its document and not by the code that writes answers.
struct ReadAnswer {
  struct Column {
    uint32_t type = 0;
    std::vector<uint8_t> bytes;
    uint64_t elements = 0;
  };

  nlohmann::json head;
  std::map<std::string, Column> columns;

  // "", or the code of the refusal.
  std::string Code() const;

  // The numbers of a column, which must be there, whatever their type.
  std::vector<double> Of(const std::string& name) const;
  std::vector<uint64_t> Wide(const std::string& name) const;
};

// Throws std::runtime_error where the bytes are no answer.
ReadAnswer ReadAnswerBytes(const std::vector<uint8_t>& bytes);

}  // namespace marrowfin::testing

#endif
