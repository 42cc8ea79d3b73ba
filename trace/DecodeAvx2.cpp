#include "trace/Decode.h"

#if defined(__x86_64__)

#include <immintrin.h>

#include <algorithm>

#include "trace/BigEndian.h"

namespace marrowfin {

namespace {

// Byte orders of the output: the first 16 bytes of a record become cycle, thread and type.
alignas(16) constexpr uint8_t HEAD[16] = {11, 10, 9, 8, 7, 6, 5, 4, 15, 14, 13, 12, 3, 2, 1, 0};

// The payload becomes its words; the second half of one that is no send's is cleared. By type.
constexpr uint8_t NIL = 0x80;
alignas(16) constexpr uint8_t PAYLOAD[3][16] = {
    {3, 2, 1, 0, 7, 6, 5, 4, NIL, NIL, NIL, NIL, NIL, NIL, NIL, NIL},
    {3, 2, 1, 0, 7, 6, 5, 4, NIL, NIL, NIL, NIL, NIL, NIL, NIL, NIL},
    {3, 2, 1, 0, 7, 6, 5, 4, 11, 10, 9, 8, 15, 14, 13, 12},
};

// Which words count as places of fires and of sends. By type.
constexpr uint32_t ALL = ~0U;
alignas(16) constexpr uint32_t FIRED[3][4] = {{0}, {ALL, ALL, 0, 0}, {0}};
alignas(16) constexpr uint32_t SENT[3][4] = {{0}, {0}, {ALL, ALL, ALL, ALL}};

__attribute__((target("avx2"))) inline __m128i LoadAligned(const void* bytes) {
  return _mm_load_si128(static_cast<const __m128i*>(bytes));
}

__attribute__((target("avx2"))) inline __m128i LoadUnaligned(const void* bytes) {
  return _mm_loadu_si128(static_cast<const __m128i*>(bytes));
}

__attribute__((target("avx2"))) inline void StoreHalves(void* low, void* high, __m128i value) {
  _mm_storel_epi64(static_cast<__m128i*>(low), value);
  _mm_storeh_pd(static_cast<double*>(high), _mm_castsi128_pd(value));
}

__attribute__((target("avx2"))) inline void Raise(Place& most, __m128i lanes) {
  alignas(16) uint32_t words[4];
  _mm_store_si128(reinterpret_cast<__m128i*>(words), lanes);
  most.column = std::max({most.column, words[0], words[2]});
  most.row = std::max({most.row, words[1], words[3]});
}

// How far ahead of the decoding the bytes are fetched: the loop depends on every load, so it would
// wait for memory where a plain sum does not.
constexpr size_t AHEAD = 2048;

}  // namespace

// One record an iteration. Where the next record begins depends on the length of this one, so the
// chain from length to address sets the pace: a load and an addition. The length byte is believed
// only for that; whatever the checks then refuse is left to the caller. All else hangs beside the
// chain and costs next to nothing.
__attribute__((target("avx2"))) const uint8_t* DecodeAvx2(const uint8_t* data, const uint8_t* end,
                                                          Columns& columns, DecodeState& state) {
  const __m128i headOrder = LoadAligned(HEAD);
  __m128i fired = _mm_setzero_si128();
  __m128i sent = _mm_setzero_si128();
  const uint8_t* start = data;
  uint64_t lastCycle = state.lastCycle;
  uint32_t fell = 0;
  size_t switches = 0;
  size_t n = columns.size;
  // Every iteration reads as many bytes as the largest record has.
  while (n < Columns::CAPACITY && end - data >= static_cast<ptrdiff_t>(LARGE_RECORD)) {
    const uint8_t* next = data + PAYLOAD_OFFSET + data[LENGTH_OFFSET + 3];
    const uint32_t kind = Load32(data + TYPE_OFFSET) - SWITCH_RECORD;
    const uint32_t length = Load32(data + LENGTH_OFFSET);
    if (__builtin_expect((kind > 2) | (length != PLACE_SIZE + ((kind & 2) << 2)), 0)) {
      break;
    }
    _mm_prefetch(data + AHEAD, _MM_HINT_T0);
    const __m128i head = _mm_shuffle_epi8(LoadUnaligned(data), headOrder);
    const __m128i payload =
        _mm_shuffle_epi8(LoadUnaligned(data + PAYLOAD_OFFSET), LoadAligned(PAYLOAD[kind]));
    StoreHalves(&columns.cycle[n], &columns.tag[n], head);
    StoreHalves(&columns.at[n], &columns.to[n], payload);
    fired = _mm_max_epu32(fired, _mm_and_si128(payload, LoadAligned(FIRED[kind])));
    sent = _mm_max_epu32(sent, _mm_and_si128(payload, LoadAligned(SENT[kind])));
    switches += kind == 0;
    const uint64_t cycle = static_cast<uint64_t>(_mm_cvtsi128_si64(head));
    fell |= cycle < lastCycle;
    lastCycle = cycle;
    ++n;
    data = next;
  }
  const size_t decoded = n - columns.size;
  columns.size = n;
  columns.switches += switches;
  columns.sends += (static_cast<size_t>(data - start) - decoded * SMALL_RECORD) / PLACE_SIZE;
  Raise(columns.maxFired, fired);
  Raise(columns.maxSent, sent);
  state.lastCycle = lastCycle;
  state.fell |= fell != 0;
  return data;
}

}  // namespace marrowfin

#else

namespace marrowfin {

const uint8_t* DecodeAvx2(const uint8_t* data, const uint8_t* end, Columns& columns,
                          DecodeState& state) {
  return DecodePortable(data, end, columns, state);
}

}  // namespace marrowfin

#endif
