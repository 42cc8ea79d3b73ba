#ifndef SIM_PROGRAMS_PROGRAMS_H
#define SIM_PROGRAMS_PROGRAMS_H

#include <memory>

#include "sim/Program.h"

namespace marrowfin::sim {

// C = A B for matrices of size x size whole numbers.
std::unique_ptr<Program> MakeMatrixProduct(const ProgramSize& size);

// y = M x for a sparse matrix of size x size, whose rows differ in length and may be empty.
std::unique_ptr<Program> MakeSparseProduct(const ProgramSize& size);

// The discrete Fourier transform of `size` complex numbers, by the factors of the size.
std::unique_ptr<Program> MakeFft(const ProgramSize& size);

// Sorts `size` numbers with a bitonic network.
std::unique_ptr<Program> MakeBitonicSort(const ProgramSize& size);

// Some sweeps of a five-point stencil over a plate of size x size cells with fixed borders.
std::unique_ptr<Program> MakeStencil(const ProgramSize& size);

// The sum of `size` numbers, by a tree.
std::unique_ptr<Program> MakeReduction(const ProgramSize& size);

}  // namespace marrowfin::sim

#endif
