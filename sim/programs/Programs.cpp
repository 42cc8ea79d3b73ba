// The list of all programs: one line here, one file and one line in Programs.h for each.

#include "sim/programs/Programs.h"

namespace marrowfin::sim {

namespace {

unsigned long long OneEach(unsigned long long size) { return size; }

unsigned long long OneEachCell(unsigned long long size) { return size * size; }

// Every prime factor joins all numbers once, each from as many parts.
unsigned long long OperationsOfFft(unsigned long long size) {
  unsigned long long factors = 1;
  unsigned long long rest = size;
  for (unsigned long long factor = 2; factor * factor <= rest; ++factor) {
    while (rest % factor == 0) {
      rest /= factor;
      factors += factor;
    }
  }
  return size * (factors + (rest > 1 ? rest : 0));
}

}  // namespace

const std::vector<ProgramInfo>& Programs() {
  static const std::vector<ProgramInfo> programs = {
      {"matmul", "dense product of two size x size matrices", MakeMatrixProduct, OneEachCell},
      {"spmv", "product of a sparse size x size matrix and a vector", MakeSparseProduct, OneEach},
      {"fft", "Fourier transform of size complex numbers", MakeFft, OperationsOfFft},
      {"sort", "bitonic sort of size numbers", MakeBitonicSort, OneEach},
      {"stencil", "sweeps of a five-point stencil over size x size cells", MakeStencil,
       OneEachCell},
      {"reduce", "sum of size numbers by a tree", MakeReduction, OneEach}};
  return programs;
}

const ProgramInfo* FindProgram(const std::string& name) {
  for (const ProgramInfo& program : Programs()) {
    if (program.name == name) {
      return &program;
    }
  }
  return nullptr;
}

std::string ProgramNames() {
  std::string names;
  for (const ProgramInfo& program : Programs()) {
    names += (names.empty() ? "" : ", ") + std::string(program.name);
  }
  return names;
}

}  // namespace marrowfin::sim
