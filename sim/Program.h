#ifndef SIM_PROGRAM_H
#define SIM_PROGRAM_H

#include <memory>
#include <string>
#include <vector>

#include "sim/Graph.h"
#include "sim/Random.h"

namespace marrowfin::sim {

// The words of every segment of a program, for one thread.
typedef std::vector<std::vector<double>> SegmentData;

// How large a program is, and what its structure is drawn from.
struct ProgramSize {
  uint32 size;      // of the problem; what it counts is the program's
  uint32 sweeps;    // of the stencil
  uint32 nonzeros;  // of a row of the sparse matrix, on average
  unsigned long long seed;
};

// Something to run: a graph, data for it, and the plain computation of what must come out.
class Program {
 public:
  virtual ~Program() = default;

  const Graph& GetGraph() const { return graph; }

  // Makes data for a thread. Its segments that the program writes are filled with zeros.
  SegmentData MakeData(Random& random) const;

  // Computes the same as the graph, in the plain way: fills the segments that the program writes.
  virtual void ComputePlainly(SegmentData& data) const = 0;

  // How far a result may differ from the plain computation, which may add in another order.
  virtual double Tolerance() const { return 0; }

 protected:
  // Fills the segments that are read.
  virtual void FillInput(SegmentData& data, Random& random) const = 0;

  Graph graph;
};

// One program that users can choose.
struct ProgramInfo {
  const char* name;
  const char* description;
  std::unique_ptr<Program> (*make)(const ProgramSize& size);

  // A number of operations that a program of this size has at least, found without building it.
  unsigned long long (*leastOperations)(unsigned long long size);
};

// All programs. The list stands with them, in sim/programs.
const std::vector<ProgramInfo>& Programs();

// Null where there is no program of that name.
const ProgramInfo* FindProgram(const std::string& name);

// The names of all programs, with a comma and a blank between them.
std::string ProgramNames();

}  // namespace marrowfin::sim

#endif
