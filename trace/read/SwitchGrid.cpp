#include "trace/read/SwitchGrid.h"

#include <bit>

#if defined(__x86_64__)
#include <immintrin.h>
#endif

#include "trace/read/Decode.h"

namespace marrowfin {

namespace {

// By Newton's iteration: each step doubles the bits that are right, of which there are three at
// first.
uint32_t InverseOf(uint32_t odd) {
  uint32_t inverse = odd;
  for (int bits = 3; bits < 32; bits *= 2) {
    inverse *= 2 - odd * inverse;
  }
  return inverse;
}

// A column and a row as Columns has them side by side.
template <class Number>
constexpr int64_t PerAxisLanes(Number column, Number row) {
  return static_cast<int64_t>(uint64_t{static_cast<uint32_t>(row)} << 32 |
                              static_cast<uint32_t>(column));
}

}  // namespace

SwitchGrid::Axis::Axis(uint32_t clusterSide, uint32_t clusters)
    : inverse(InverseOf(clusterSide >> std::countr_zero(clusterSide))),
      shift(std::countr_zero(clusterSide)),
      clusters(clusters) {}

bool SwitchGrid::Axis::Fits(uint32_t index) const {
  return std::rotr((index - FIRST_SWITCH) * inverse, shift) < clusters;
}

// The same of all indexes of a batch, where the side is a power of two.
bool SwitchGrid::Axis::FitsAll(uint32_t most, uint32_t bits) const {
  return most >> shift < clusters && bits % (uint32_t{1} << shift) == 0;
}

SwitchGrid::SwitchGrid(const ArrayShape& shape)
    : columnAxis(shape.ClusterColumns(), shape.clusters.columns),
      rowAxis(shape.ClusterRows(), shape.clusters.rows) {}

bool SwitchGrid::Fits(const Columns& columns) const {
  if (columnAxis.inverse == 1 && rowAxis.inverse == 1) {
    return columnAxis.FitsAll(columns.maxSwitched.column, columns.switchedBits.column) &&
           rowAxis.FitsAll(columns.maxSwitched.row, columns.switchedBits.row);
  }
  return HasAvx2() ? FitsAvx2(columns) : FitsPortable(columns);
}

bool SwitchGrid::FitsPortable(const Columns& columns) const {
  bool all = true;
  for (size_t i = 0; i < columns.size; ++i) {
    const Place place = columns.at[i];
    all &= columns.tag[i].type != SWITCH_RECORD ||
           (columnAxis.Fits(place.column) && rowAxis.Fits(place.row));
  }
  return all;
}

#if defined(__x86_64__)

// Four records at a time. Columns are whole groups long, so behind the last record of a batch what
// an earlier one left is looked at as well, and does not count.
__attribute__((target("avx2"))) bool SwitchGrid::FitsAvx2(const Columns& columns) const {
  constexpr size_t GROUP = 4;
  static_assert(Columns::CAPACITY % GROUP == 0);
  const __m256i right = _mm256_set1_epi64x(PerAxisLanes(columnAxis.shift, rowAxis.shift));
  const __m256i left = _mm256_sub_epi32(_mm256_set1_epi32(32), right);
  const __m256i inverses = _mm256_set1_epi64x(PerAxisLanes(columnAxis.inverse, rowAxis.inverse));
  const __m256i most =
      _mm256_set1_epi64x(PerAxisLanes(columnAxis.clusters - 1, rowAxis.clusters - 1));
  const __m256i first = _mm256_set1_epi32(FIRST_SWITCH);
  const __m256i switchType = _mm256_set1_epi32(SWITCH_RECORD);
  __m256i remaining = _mm256_sub_epi64(_mm256_set1_epi64x(static_cast<int64_t>(columns.size)),
                                       _mm256_setr_epi64x(0, 1, 2, 3));
  __m256i bad = _mm256_setzero_si256();
  for (size_t i = 0; i < columns.size; i += GROUP) {
    const __m256i tag = _mm256_load_si256(reinterpret_cast<const __m256i*>(&columns.tag[i]));
    const __m256i at = _mm256_load_si256(reinterpret_cast<const __m256i*>(&columns.at[i]));
    const __m256i isSwitch = _mm256_cmpeq_epi32(_mm256_shuffle_epi32(tag, 0xF5), switchType);
    const __m256i isThere = _mm256_cmpgt_epi64(remaining, _mm256_setzero_si256());
    const __m256i product = _mm256_mullo_epi32(_mm256_sub_epi32(at, first), inverses);
    const __m256i quotient =
        _mm256_or_si256(_mm256_srlv_epi32(product, right), _mm256_sllv_epi32(product, left));
    const __m256i fits = _mm256_cmpeq_epi32(_mm256_min_epu32(quotient, most), quotient);
    bad = _mm256_or_si256(bad, _mm256_andnot_si256(fits, _mm256_and_si256(isSwitch, isThere)));
    remaining = _mm256_sub_epi64(remaining, _mm256_set1_epi64x(GROUP));
  }
  return _mm256_testz_si256(bad, bad) != 0;
}

#else

bool SwitchGrid::FitsAvx2(const Columns& columns) const { return FitsPortable(columns); }

#endif

}  // namespace marrowfin
