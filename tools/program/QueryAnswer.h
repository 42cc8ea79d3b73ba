#ifndef TOOLS_PROGRAM_QUERYANSWER_H
#define TOOLS_PROGRAM_QUERYANSWER_H

#include <cstdint>
#include <functional>
#include <span>
#include <string>

#include "sql/Query.h"
#include "tools/program/Failure.h"
#include "tools/program/QueryLines.h"
#include "tools/program/TextOutput.h"

namespace marrowfin {

// Writes what SQL answers as it comes. Asked again behind a fault, with an index that was built
// anew meanwhile, it goes on behind the rows that it has written: the same question has the same
// answer.
class QueryAnswer : public SqlAnswer {
 public:
  QueryAnswer(QueryLines& lines, TextOutput& output) : lines(lines), output(output) {}

  // The statements are asked from the first one on, once more where they were before. `hide` is
  // called before anything is written.
  void Restart(std::function<void()> hide);

  [[nodiscard]] Fault Begin(std::span<const std::string> names) override;
  [[nodiscard]] Fault Row(std::span<const SqlCell> cells) override;
  [[nodiscard]] Fault End() override;

  // Why the output cannot be written, which ends the answer.
  const MaybeFailure& GetFailure() const { return failure; }

  uint64_t Rows() const { return rows; }

 private:
  // Whether a part of the answer is new; counts it as told.
  bool IsNew();
  Fault Pass();

  QueryLines& lines;
  TextOutput& output;
  std::function<void()> beforeOutput;
  uint64_t told = 0;  // parts of the answer: beginnings, rows and ends
  uint64_t met = 0;   // since it was asked last
  uint64_t rows = 0;
  MaybeFailure failure;
};

}  // namespace marrowfin

#endif
