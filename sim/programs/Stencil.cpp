#include "sim/programs/Programs.h"

namespace marrowfin::sim {

namespace {

// The plate is as cold as 0 around, but for the border beyond its last row, which is kept at this.
constexpr double HOT_BORDER = 64;

// A cell's next value is half its own and an eighth of each neighbour's. All cells sweep at once:
// a sweep is an iteration, in which each cell sends its value to its neighbours.
//
// Segment 0 holds the values at the start, one segment for each cell's result follows.
class Stencil : public Program {
 public:
  Stencil(uint32 n, uint32 sweeps) : n(n), sweeps(sweeps) {
    const uint32 input = graph.AddSegment(n * n, false);
    std::vector<Cell> cells;
    for (uint32 row = 0; row < n; ++row) {
      for (uint32 column = 0; column < n; ++column) {
        cells.push_back(AddCell(row, column));
      }
    }
    for (uint32 index = 0; index < cells.size(); ++index) {
      ConnectCell(cells, index, input);
    }
  }

  void ComputePlainly(SegmentData& data) const override {
    std::vector<double> plate = data[0];
    for (uint32 sweep = 0; sweep < sweeps; ++sweep) {
      const std::vector<double> before = plate;
      for (uint32 i = 0; i < before.size(); ++i) {
        plate[i] = 0.5 * before[i] + 0.125 * ((Above(before, i) + Below(before, i)) +
                                              (Left(before, i) + Right(before, i)));
      }
    }
    for (uint32 i = 0; i < plate.size(); ++i) {
      data[1 + i][0] = plate[i];
    }
  }

 protected:
  void FillInput(SegmentData& data, Random& random) const override {
    for (double& word : data[0]) {
      word = random.Below(64);
    }
  }

 private:
  // The operations of a cell that take its own value and its neighbours', and the loop's.
  struct Cell {
    Value half;
    Value vertical;    // port 0: the cell above, port 1: the one below
    Value horizontal;  // port 0: the cell to the left, port 1: the one to the right
    Value again;
  };

  double Above(const std::vector<double>& plate, uint32 i) const {
    return i + n < plate.size() ? plate[i + n] : HOT_BORDER;
  }
  double Below(const std::vector<double>& plate, uint32 i) const {
    return i >= n ? plate[i - n] : 0;
  }
  double Left(const std::vector<double>& plate, uint32 i) const {
    return i % n > 0 ? plate[i - 1] : 0;
  }
  double Right(const std::vector<double>& plate, uint32 i) const {
    return i % n + 1 < n ? plate[i + 1] : 0;
  }

  Cell AddCell(uint32 row, uint32 column) {
    graph.SetTimes(sweeps);
    Cell cell;
    cell.half = graph.Product(Later(), Number(0.5));
    cell.vertical =
        graph.Sum(row + 1 < n ? Later() : Number(HOT_BORDER), row > 0 ? Later() : Number(0));
    cell.horizontal =
        graph.Sum(column > 0 ? Later() : Number(0), column + 1 < n ? Later() : Number(0));
    const Value around = graph.Product(graph.Sum(cell.vertical, cell.horizontal), Number(0.125));
    cell.again = graph.AddLoop(graph.Sum(cell.half, around), sweeps);
    graph.SetTimes(1);
    graph.AddMemory(Opcode::STORE, graph.AddSegment(1, true), {Number(0), cell.again.Otherwise()});
    return cell;
  }

  // Leads the cell's value, at first from the memory and then from its own loop, to all who use it.
  void ConnectCell(const std::vector<Cell>& cells, uint32 index, uint32 input) {
    const Value load = graph.AddMemory(Opcode::LOAD, input, {Later()});
    graph.Start(load, 0, index);
    const auto lead = [&](const Value& to, uint32 port) {
      graph.Connect(load, to, port);
      graph.Carry(cells[index].again, to, port);
    };
    lead(cells[index].half, 0);
    if (index >= n) {
      lead(cells[index - n].vertical, 0);
    }
    if (index + n < cells.size()) {
      lead(cells[index + n].vertical, 1);
    }
    if (index % n + 1 < n) {
      lead(cells[index + 1].horizontal, 0);
    }
    if (index % n > 0) {
      lead(cells[index - 1].horizontal, 1);
    }
  }

  uint32 n;
  uint32 sweeps;
};

}  // namespace

std::unique_ptr<Program> MakeStencil(const ProgramSize& size) {
  return std::make_unique<Stencil>(size.size, size.sweeps);
}

}  // namespace marrowfin::sim
