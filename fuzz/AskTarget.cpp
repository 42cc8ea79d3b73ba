#include <cstring>
#include <string>
#include <vector>

#include "fuzz/ExploredRun.h"
#include "fuzz/Fuzz.h"

// Bytes as a question to the explorer's core: whatever they are, there is an answer whose parts are
// where its head and its table say, and the same question has the same answer again.

namespace marrowfin::fuzz {

namespace {

uint64_t NumberAt(const std::vector<uint8_t>& bytes, size_t at, size_t size) {
  Require(at + size <= bytes.size(), "an answer is as long as it says");
  uint64_t number = 0;
  for (size_t i = size; i-- > 0;) {
    number = number << 8 | bytes[at + i];
  }
  return number;
}

void CheckAnswer(const std::vector<uint8_t>& answer) {
  constexpr size_t SIZES[] = {0, 1, 2, 4, 8, 4, 4, 8};
  Require(answer.size() >= 16 && memcmp(answer.data(), "MFEA\1\0\0\0", 8) == 0,
          "an answer begins as all do");
  const uint64_t columns = NumberAt(answer, 12, 4);
  uint64_t at = 16 + 16 * columns;
  const uint64_t head = NumberAt(answer, 8, 4);
  Require(head >= 2 && at + head <= answer.size() && answer[at] == '{', "an answer has a head");
  at += head;
  for (uint64_t i = 0; i < columns; ++i) {
    const uint64_t type = NumberAt(answer, 16 + 16 * i, 4);
    Require(type >= 1 && type <= 7, "a column has a type");
    at = (at + 7) / 8 * 8 + NumberAt(answer, 24 + 16 * i, 8) * SIZES[type];
    Require(at <= answer.size(), "a column lies within the answer");
  }
  Require(columns == 0 || at == answer.size(), "nothing lies behind the last column");
}

}  // namespace

}  // namespace marrowfin::fuzz

// Inputs that begin with a brace are questions as they are; what others hold are the members behind
// those that every question has.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace marrowfin::fuzz;
  static ExploredRun run;
  static const std::string front = "{\"protocol\":1,\"trace\":\"" + run.Name() + "\",";
  std::string question(reinterpret_cast<const char*>(data), size);
  if (size > 0 && data[0] != '{') {
    question = front + question + "}";
  }
  const auto ask = [&] {
    return run.GetCore().Answer(
        {reinterpret_cast<const uint8_t*>(question.data()), question.size()});
  };
  const std::vector<uint8_t> answer = ask();
  CheckAnswer(answer);
  Require(answer == ask(), "equal questions have equal answers");
  return 0;
}
