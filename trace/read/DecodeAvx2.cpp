#include "trace/read/Decode.h"

#if defined(__x86_64__)

#include <immintrin.h>

#include <algorithm>

#include "trace/base/BigEndian.h"
#include "trace/base/Record.h"

namespace marrowfin {

namespace {

// Records that are decoded at a time.
constexpr size_t GROUP = 4;

constexpr ptrdiff_t LARGEST_GROUP = GROUP * LARGE_RECORD;

// How far ahead of the decoding the bytes are fetched: the way from record to record depends on
// every load, so it would wait for memory where a plain sum does not.
constexpr size_t AHEAD = 4096;
constexpr size_t CACHE_LINE = 64;

__attribute__((target("avx2"))) inline __m128i Load(const uint8_t* bytes) {
  return _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes));
}

// 16 bytes from each of two places, in either half.
__attribute__((target("avx2"))) inline __m256i LoadHalves(const uint8_t* low, const uint8_t* high) {
  return _mm256_inserti128_si256(_mm256_castsi128_si256(Load(low)), Load(high), 1);
}

// 8 bytes from each of two places.
__attribute__((target("avx2"))) inline __m128i LoadQuarters(const uint8_t* low,
                                                            const uint8_t* high) {
  return _mm_unpacklo_epi64(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(low)),
                            _mm_loadl_epi64(reinterpret_cast<const __m128i*>(high)));
}

__attribute__((target("avx2"))) inline void Store(void* to, __m256i value) {
  _mm256_storeu_si256(static_cast<__m256i*>(to), value);
}

__attribute__((target("avx2"))) inline size_t Total(__m256i counts) {
  alignas(32) uint64_t parts[GROUP];
  _mm256_store_si256(reinterpret_cast<__m256i*>(parts), counts);
  return static_cast<size_t>(parts[0] + parts[1] + parts[2] + parts[3]);
}

__attribute__((target("avx2"))) inline void Raise(Place& most, __m256i places) {
  alignas(32) Place parts[GROUP];
  _mm256_store_si256(reinterpret_cast<__m256i*>(parts), places);
  for (const Place& part : parts) {
    most.column = std::max(most.column, part.column);
    most.row = std::max(most.row, part.row);
  }
}

__attribute__((target("avx2"))) inline void Gather(Place& bits, __m256i places) {
  alignas(32) Place parts[GROUP];
  _mm256_store_si256(reinterpret_cast<__m256i*>(parts), places);
  for (const Place& part : parts) {
    bits.column |= part.column;
    bits.row |= part.row;
  }
}

// `ifLarge` where `length` is that of a large record, else `ifSmall`. Records of either length
// follow each other at random as far as a processor can tell, so this must not become a branch, and
// no compiler can be talked into that for sure.
template <class Value>
inline Value Choose(unsigned length, Value ifLarge, Value ifSmall) {
  asm("cmp %[large], %[length]\n\t"
      "cmove %[ifLarge], %[chosen]"
      : [chosen] "+r"(ifSmall)
      : [length] "r"(length), [ifLarge] "r"(ifLarge), [large] "i"(LARGE_RECORD - PAYLOAD_OFFSET)
      : "cc");
  return ifSmall;
}

// Where the second record from `first` on begins; the next one begins at `second`.
//
// Where a record begins depends on the length of the one before. To wait for one length after the
// other would set the pace, so the length behind a small record and that behind a large one are
// both fetched before it is known which of them counts. A length that is neither counts as small;
// the checks refuse such a record anyway.
inline const uint8_t* SkipTwo(const uint8_t* first, const uint8_t*& second) {
  constexpr size_t LENGTH = LENGTH_OFFSET + 3;
  const unsigned length = first[LENGTH];
  const unsigned behindSmall = first[SMALL_RECORD + LENGTH];
  const unsigned behindLarge = first[LARGE_RECORD + LENGTH];
  second = Choose(length, first + LARGE_RECORD, first + SMALL_RECORD);
  const unsigned next = Choose(length, behindLarge, behindSmall);
  return Choose(next, second + LARGE_RECORD, second + SMALL_RECORD);
}

}  // namespace

// A group of records at a time. Sixteen bytes of each are turned into the columns' order and woven
// into full registers, which are checked, compared and stored at once; only the way from a record
// to the next one goes step by step. Reading the records one by one was rejected: it takes twice as
// many instructions. A group in which anything is malformed is left to the caller as a whole.
__attribute__((target("avx2"))) const uint8_t* DecodeAvx2(const uint8_t* data, const uint8_t* end,
                                                          Columns& columns) {
  // The first 16 bytes of a record become cycle, thread and type; payloads become their words.
  const __m256i headOrder = _mm256_broadcastsi128_si256(
      _mm_setr_epi8(11, 10, 9, 8, 7, 6, 5, 4, 15, 14, 13, 12, 3, 2, 1, 0));
  const __m256i wordOrder = _mm256_broadcastsi128_si256(
      _mm_setr_epi8(3, 2, 1, 0, 7, 6, 5, 4, 11, 10, 9, 8, 15, 14, 13, 12));
  const __m256i small = _mm256_set1_epi32(PLACE_SIZE << 24);  // as it stands in a record
  const __m256i types = _mm256_set1_epi64x(static_cast<int64_t>(0xFFFFFFFF00000000));
  const __m256i sign = _mm256_set1_epi64x(INT64_MIN);
  __m256i fired = _mm256_setzero_si256();
  __m256i sent = _mm256_setzero_si256();
  __m256i switched = _mm256_setzero_si256();
  __m256i switchedBits = _mm256_setzero_si256();
  __m256i switches = _mm256_setzero_si256();
  __m256i fell = _mm256_setzero_si256();
  __m256i same = _mm256_setzero_si256();
  const uint8_t* start = data;
  size_t n = columns.size;
  if (n + GROUP > Columns::CAPACITY || end - data < LARGEST_GROUP) {
    return data;
  }
  const uint64_t before = n > 0 ? columns.cycle[n - 1] : Load64(data + CYCLE_OFFSET);
  __m256i last = _mm256_xor_si256(_mm256_set1_epi64x(static_cast<int64_t>(before)), sign);
  while (n + GROUP <= Columns::CAPACITY && end - data >= LARGEST_GROUP) {
    const uint8_t* second = nullptr;
    const uint8_t* const third = SkipTwo(data, second);
    const uint8_t* fourth = nullptr;
    const uint8_t* const next = SkipTwo(third, fourth);
    _mm_prefetch(data + AHEAD, _MM_HINT_NTA);
    _mm_prefetch(data + AHEAD + CACHE_LINE, _MM_HINT_NTA);
    const __m256i even = _mm256_shuffle_epi8(LoadHalves(data, third), headOrder);
    const __m256i odd = _mm256_shuffle_epi8(LoadHalves(second, fourth), headOrder);
    const __m256i cycle = _mm256_unpacklo_epi64(even, odd);
    const __m256i tag = _mm256_unpackhi_epi64(even, odd);
    const __m256i type = _mm256_shuffle_epi32(tag, 0xF5);
    const __m256i isSwitch = _mm256_cmpeq_epi32(type, _mm256_set1_epi32(SWITCH_RECORD));
    const __m256i isFire = _mm256_cmpeq_epi32(type, _mm256_set1_epi32(FIRE_RECORD));
    const __m256i isSend = _mm256_cmpeq_epi32(type, _mm256_set1_epi32(SEND_RECORD));
    const __m256i known = _mm256_or_si256(_mm256_or_si256(isSwitch, isFire), isSend);
    const __m256i length = _mm256_inserti128_si256(
        _mm256_castsi128_si256(LoadQuarters(data + THREAD_OFFSET, second + THREAD_OFFSET)),
        LoadQuarters(third + THREAD_OFFSET, fourth + THREAD_OFFSET), 1);
    const __m256i right = _mm256_add_epi32(small, _mm256_and_si256(small, isSend));
    if (!_mm256_testc_si256(_mm256_and_si256(known, _mm256_cmpeq_epi32(length, right)), types)) {
      break;
    }
    const __m256i evenWords =
        _mm256_shuffle_epi8(LoadHalves(data + PAYLOAD_OFFSET, third + PAYLOAD_OFFSET), wordOrder);
    const __m256i oddWords = _mm256_shuffle_epi8(
        LoadHalves(second + PAYLOAD_OFFSET, fourth + PAYLOAD_OFFSET), wordOrder);
    const __m256i at = _mm256_unpacklo_epi64(evenWords, oddWords);
    const __m256i to = _mm256_and_si256(_mm256_unpackhi_epi64(evenWords, oddWords), isSend);
    Store(&columns.cycle[n], cycle);
    Store(&columns.tag[n], tag);
    Store(&columns.at[n], at);
    Store(&columns.to[n], to);
    fired = _mm256_max_epu32(fired, _mm256_and_si256(at, isFire));
    sent = _mm256_max_epu32(sent, _mm256_max_epu32(_mm256_and_si256(at, isSend), to));
    const __m256i apart =
        _mm256_and_si256(_mm256_sub_epi32(at, _mm256_set1_epi32(FIRST_SWITCH)), isSwitch);
    switched = _mm256_max_epu32(switched, apart);
    switchedBits = _mm256_or_si256(switchedBits, apart);
    switches = _mm256_sub_epi64(switches, isSwitch);
    const __m256i now = _mm256_xor_si256(cycle, sign);
    const __m256i turned = _mm256_permute4x64_epi64(now, 0x93);
    const __m256i earlier = _mm256_blend_epi32(turned, last, 3);
    fell = _mm256_or_si256(fell, _mm256_cmpgt_epi64(earlier, now));
    same = _mm256_sub_epi64(same, _mm256_cmpeq_epi64(earlier, now));
    last = turned;
    n += GROUP;
    data = next;
  }
  const size_t decoded = n - columns.size;
  columns.size = n;
  columns.switches += Total(switches);
  columns.sends += (static_cast<size_t>(data - start) - decoded * SMALL_RECORD) / PLACE_SIZE;
  columns.changes += decoded - Total(same);
  columns.fell |= _mm256_testz_si256(fell, fell) == 0;
  Raise(columns.maxFired, fired);
  Raise(columns.maxSent, sent);
  Raise(columns.maxSwitched, switched);
  Gather(columns.switchedBits, switchedBits);
  return data;
}

}  // namespace marrowfin

#else

namespace marrowfin {

const uint8_t* DecodeAvx2(const uint8_t* data, const uint8_t* end, Columns& columns) {
  return DecodePortable(data, end, columns);
}

}  // namespace marrowfin

#endif
