#include "sim/programs/Programs.h"

namespace marrowfin::sim {

namespace {

// One loader for each row of A and each column of B sends its next word in every iteration; a cell
// for each element of C multiplies what it gets from its row and its column and adds it up.
class MatrixProduct : public Program {
 public:
  explicit MatrixProduct(uint32 n) : n(n) {
    std::vector<Value> rows;
    std::vector<Value> columns;
    graph.SetTimes(n);
    for (uint32 i = 0; i < n; ++i) {
      rows.push_back(AddLoader());
    }
    for (uint32 j = 0; j < n; ++j) {
      columns.push_back(AddLoader());
    }
    for (uint32 i = 0; i < n; ++i) {
      for (uint32 j = 0; j < n; ++j) {
        AddCell(rows[i], columns[j]);
      }
    }
  }

  void ComputePlainly(SegmentData& data) const override {
    for (uint32 i = 0; i < n; ++i) {
      for (uint32 j = 0; j < n; ++j) {
        double sum = 0;
        for (uint32 k = 0; k < n; ++k) {
          sum += data[i][k] * data[n + j][k];
        }
        data[2 * n + i * n + j][0] = sum;
      }
    }
  }

 protected:
  void FillInput(SegmentData& data, Random& random) const override {
    for (uint32 segment = 0; segment < 2 * n; ++segment) {
      for (double& word : data[segment]) {
        word = random.Below(100);
      }
    }
  }

 private:
  // Loads words 0, 1, ... of a segment of its own, one an iteration.
  Value AddLoader() {
    const Value word = graph.AddMemory(Opcode::LOAD, graph.AddSegment(n, false), {Later()});
    const Value next = graph.Add(Opcode::ADD, {Later(), Number(1)});
    const Value again = graph.AddLoop(next, n);
    graph.Start(word, 0, 0);
    graph.Start(next, 0, 0);
    graph.Carry(again, word, 0);
    graph.Carry(again, next, 0);
    return word;
  }

  void AddCell(const Value& a, const Value& b) {
    const Value sum = graph.Sum(graph.Product(a, b), Later());
    const Value again = graph.AddLoop(sum, n);
    graph.Start(sum, 1, 0);
    graph.Carry(again, sum, 1);
    graph.SetTimes(1);
    graph.AddMemory(Opcode::STORE, graph.AddSegment(1, true), {Number(0), again.Otherwise()});
    graph.SetTimes(n);
  }

  uint32 n;
};

}  // namespace

std::unique_ptr<Program> MakeMatrixProduct(const ProgramSize& size) {
  return std::make_unique<MatrixProduct>(size.size);
}

}  // namespace marrowfin::sim
