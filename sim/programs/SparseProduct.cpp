#include <algorithm>

#include "sim/programs/Programs.h"

namespace marrowfin::sim {

namespace {

// Each row walks its own list of columns and values; the vector is read wherever it is needed. The
// rows' loops end when they reach their lengths, which a steer decides.
//
// The vector is segment 0. Row r has its columns in segment 1 + 3 r, its values in the next one and
// its result in the one after that.
class SparseProduct : public Program {
 public:
  SparseProduct(uint32 n, uint32 nonzeros, unsigned long long seed) : n(n) {
    DrawColumns(nonzeros, seed);
    const uint32 vector = graph.AddSegment(n, false);
    for (uint32 row = 0; row < n; ++row) {
      const uint32 length = static_cast<uint32>(columns[row].size());
      const uint32 columnSegment = graph.AddSegment(length, false);
      const uint32 valueSegment = graph.AddSegment(length, false);
      const uint32 resultSegment = graph.AddSegment(1, true);
      if (length == 0) {
        AddEmptyRow(resultSegment);
      } else {
        AddRow(length, vector, columnSegment, valueSegment, resultSegment);
      }
    }
  }

  void ComputePlainly(SegmentData& data) const override {
    for (uint32 row = 0; row < n; ++row) {
      double sum = 0;
      for (uint32 k = 0; k < columns[row].size(); ++k) {
        sum += data[2 + 3 * row][k] * data[0][columns[row][k]];
      }
      data[3 + 3 * row][0] = sum;
    }
  }

 protected:
  void FillInput(SegmentData& data, Random& random) const override {
    for (double& word : data[0]) {
      word = random.Below(100);
    }
    for (uint32 row = 0; row < n; ++row) {
      std::copy(columns[row].begin(), columns[row].end(), data[1 + 3 * row].begin());
      for (double& word : data[2 + 3 * row]) {
        word = 1 + random.Below(99);
      }
    }
  }

 private:
  // Up to twice the average in each row, at columns that do not repeat.
  void DrawColumns(uint32 nonzeros, unsigned long long seed) {
    Random random(seed);
    columns.resize(n);
    for (std::vector<uint32>& row : columns) {
      const uint32 wanted = random.Below(2 * nonzeros + 1);
      for (uint32 i = 0; i < wanted; ++i) {
        row.push_back(random.Below(n));
      }
      std::sort(row.begin(), row.end());
      row.erase(std::unique(row.begin(), row.end()), row.end());
    }
  }

  void AddEmptyRow(uint32 resultSegment) {
    graph.SetTimes(1);
    const Value store = graph.AddMemory(Opcode::STORE, resultSegment, {Number(0), Later()});
    graph.Start(store, 1, 0);
  }

  void AddRow(uint32 length, uint32 vector, uint32 columnSegment, uint32 valueSegment,
              uint32 resultSegment) {
    graph.SetTimes(length);
    const Value column = graph.AddMemory(Opcode::LOAD, columnSegment, {Later()});
    const Value value = graph.AddMemory(Opcode::LOAD, valueSegment, {Later()});
    const Value next = graph.Add(Opcode::ADD, {Later(), Number(1)});
    const Value isLeft = graph.Add(Opcode::LESS, {next, Number(length)});
    const Value index = graph.Add(Opcode::STEER, {isLeft, next});
    for (const Value& user : {column, value, next}) {
      graph.Start(user, 0, 0);
      graph.Carry(index, user, 0);
    }
    const Value element = graph.AddMemory(Opcode::LOAD, vector, {column});
    const Value sum = graph.Sum(graph.Product(value, element), Later());
    const Value partial = graph.Add(Opcode::STEER, {isLeft, sum});
    graph.Start(sum, 1, 0);
    graph.Carry(partial, sum, 1);
    graph.SetTimes(1);
    graph.AddMemory(Opcode::STORE, resultSegment, {Number(0), partial.Otherwise()});
  }

  uint32 n;
  std::vector<std::vector<uint32>> columns;  // of the nonzeros of each row
};

}  // namespace

std::unique_ptr<Program> MakeSparseProduct(const ProgramSize& size) {
  return std::make_unique<SparseProduct>(size.size, size.nonzeros, size.seed);
}

}  // namespace marrowfin::sim
