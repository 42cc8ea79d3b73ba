#include <cmath>
#include <complex>

#include "sim/programs/Programs.h"

namespace marrowfin::sim {

namespace {

typedef std::complex<double> Complex;

// A complex number as two results of the graph.
struct ComplexValue {
  Value real;
  Value imaginary;
};

// The root of unity exp(-2 pi i k / n).
Complex Root(uint32 k, uint32 n) {
  return std::polar(1.0, -2 * M_PI * static_cast<double>(k % n) / n);
}

uint32 SmallestFactor(uint32 n) {
  for (uint32 factor = 2; factor * factor <= n; ++factor) {
    if (n % factor == 0) {
      return factor;
    }
  }
  return n;
}

// Splits the numbers by the smallest prime factor of their count and joins the transforms of the
// parts, down to single numbers; a power of two gives the well-known butterflies.
//
// Segments: the real parts, the imaginary parts, then a real and an imaginary part for each result.
class Fft : public Program {
 public:
  explicit Fft(uint32 n) : n(n) {
    const uint32 real = graph.AddSegment(n, false);
    const uint32 imaginary = graph.AddSegment(n, false);
    std::vector<ComplexValue> input;
    for (uint32 i = 0; i < n; ++i) {
      input.push_back({AddLoad(real, i), AddLoad(imaginary, i)});
    }
    for (const ComplexValue& value : Transform(input)) {
      AddStore(value.real);
      AddStore(value.imaginary);
    }
  }

  // By definition, not by the factors: every result is a sum over all inputs.
  void ComputePlainly(SegmentData& data) const override {
    for (uint32 k = 0; k < n; ++k) {
      Complex sum = 0;
      for (uint32 i = 0; i < n; ++i) {
        const uint32 turn = static_cast<uint32>(1ULL * i * k % n);
        sum += Complex(data[0][i], data[1][i]) * Root(turn, n);
      }
      data[2 + 2 * k][0] = sum.real();
      data[3 + 2 * k][0] = sum.imag();
    }
  }

  // The inputs are below 1 and each result adds n of them in an order of its own.
  double Tolerance() const override { return 1e-12 * (n + 16); }

 protected:
  void FillInput(SegmentData& data, Random& random) const override {
    for (uint32 segment = 0; segment < 2; ++segment) {
      for (double& word : data[segment]) {
        word = random.Below(1 << 20) / static_cast<double>(1 << 20);
      }
    }
  }

 private:
  Value AddLoad(uint32 segment, uint32 address) {
    const Value load = graph.AddMemory(Opcode::LOAD, segment, {Later()});
    graph.Start(load, 0, address);
    return load;
  }

  void AddStore(const Value& value) {
    graph.AddMemory(Opcode::STORE, graph.AddSegment(1, true), {Number(0), value});
  }

  ComplexValue Sum(const ComplexValue& a, const ComplexValue& b) {
    return {graph.Sum(a.real, b.real), graph.Sum(a.imaginary, b.imaginary)};
  }

  ComplexValue Difference(const ComplexValue& a, const ComplexValue& b) {
    return {graph.Difference(a.real, b.real), graph.Difference(a.imaginary, b.imaginary)};
  }

  ComplexValue Turn(const ComplexValue& a, uint32 k, uint32 count) {
    if (k % count == 0) {
      return a;
    }
    const Complex root = Root(k, count);
    const Value real = Number(root.real());
    const Value imaginary = Number(root.imag());
    return {graph.Difference(graph.Product(a.real, real), graph.Product(a.imaginary, imaginary)),
            graph.Sum(graph.Product(a.real, imaginary), graph.Product(a.imaginary, real))};
  }

  std::vector<ComplexValue> Transform(const std::vector<ComplexValue>& values) {
    const uint32 count = static_cast<uint32>(values.size());
    if (count == 1) {
      return values;
    }
    const uint32 factor = SmallestFactor(count);
    std::vector<std::vector<ComplexValue>> parts;
    for (uint32 first = 0; first < factor; ++first) {
      std::vector<ComplexValue> part;
      for (uint32 i = first; i < count; i += factor) {
        part.push_back(values[i]);
      }
      parts.push_back(Transform(part));
    }
    return Join(parts, count);
  }

  std::vector<ComplexValue> Join(const std::vector<std::vector<ComplexValue>>& parts,
                                 uint32 count) {
    const uint32 factor = static_cast<uint32>(parts.size());
    const uint32 partCount = count / factor;
    std::vector<ComplexValue> joined(count);
    for (uint32 k = 0; k < partCount; ++k) {
      std::vector<ComplexValue> turned;
      for (uint32 r = 0; r < factor; ++r) {
        turned.push_back(Turn(parts[r][k], r * k, count));
      }
      for (uint32 q = 0; q < factor; ++q) {
        joined[k + q * partCount] = Combine(turned, q);
      }
    }
    return joined;
  }

  // Result q of a transform of a prime number of values.
  ComplexValue Combine(const std::vector<ComplexValue>& values, uint32 q) {
    const uint32 factor = static_cast<uint32>(values.size());
    if (factor == 2) {
      return q == 0 ? Sum(values[0], values[1]) : Difference(values[0], values[1]);
    }
    ComplexValue sum = values[0];
    for (uint32 r = 1; r < factor; ++r) {
      sum = Sum(sum, Turn(values[r], r * q, factor));
    }
    return sum;
  }

  uint32 n;
};

}  // namespace

std::unique_ptr<Program> MakeFft(const ProgramSize& size) {
  return std::make_unique<Fft>(size.size);
}

}  // namespace marrowfin::sim
