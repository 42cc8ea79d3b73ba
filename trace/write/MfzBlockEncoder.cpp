#include "trace/write/MfzBlockEncoder.h"

#include <zstd.h>

#include <algorithm>
#include <cmath>
#include <new>
#include <span>
#include <utility>

namespace marrowfin {

namespace {

// Heads whose thread is further ahead than this are rare ones.
constexpr size_t MOST_AHEAD = 256;
constexpr size_t MOST_NUMBERS = MOST_AHEAD << MfzHead::AHEAD_SHIFT;

// The bits that a code takes which knows how often each byte is there, and nothing else.
double CostOf(const std::array<uint32_t, 256>& counts, size_t all) {
  double bits = 0;
  for (const uint32_t count : counts) {
    bits -=
        count == 0 ? 0 : count * std::log2(static_cast<double>(count) / static_cast<double>(all));
  }
  return bits;
}

// A number told from another, below the extent of both.
uint32_t From(uint32_t value, uint32_t base, uint64_t extent) {
  return static_cast<uint32_t>(value >= base ? value - base : value + extent - base);
}

}  // namespace

struct MfzBlockEncoder::Packer {
  explicit Packer(int level) : context(ZSTD_createCCtx()) {
    if (context == nullptr) {
      throw std::bad_alloc();
    }
    // Shorter matches are chance among few values, and cost more than they save.
    ZSTD_CCtx_setParameter(context, ZSTD_c_compressionLevel, level);
    ZSTD_CCtx_setParameter(context, ZSTD_c_minMatch, 7);
  }
  Packer(const Packer&) = delete;
  Packer& operator=(const Packer&) = delete;
  ~Packer() { ZSTD_freeCCtx(context); }

  void Begin(uint64_t size) {
    ZSTD_CCtx_reset(context, ZSTD_reset_session_only);
    ZSTD_CCtx_setPledgedSrcSize(context, size);
  }

  // There is room for whatever comes out, so that nothing but memory can be missing.
  void Add(std::span<const uint8_t> bytes, ZSTD_EndDirective directive, std::vector<uint8_t>& out,
           size_t& size) {
    ZSTD_inBuffer in = {bytes.data(), bytes.size(), 0};
    ZSTD_outBuffer buffer = {out.data(), out.size(), size};
    if (ZSTD_compressStream2(context, &buffer, &in, directive) != 0 || in.pos != in.size) {
      throw std::bad_alloc();
    }
    size = buffer.pos;
  }

  ZSTD_CCtx* context;
};

MfzBlockEncoder::MfzBlockEncoder(int level)
    : packer(std::make_unique<Packer>(level)),
      kinds(MFZ_MOST_RECORDS),
      ranks(MFZ_MOST_RECORDS),
      lists(MfzAwaited::THREADS),
      counts(MOST_NUMBERS),
      symbols(MOST_NUMBERS, MFZ_RARE) {
  Begin();
}

MfzBlockEncoder::~MfzBlockEncoder() = default;

void MfzBlockEncoder::Worth::EndBlock() {
  constexpr unsigned REST = 8;
  constexpr size_t RARE = 16;
  rest = rest > 0 ? rest - 1 : met * RARE < tried ? REST : 0;
  tried = met = 0;
}

void MfzBlockEncoder::Begin() {
  records = 0;
  awaited.clear();
  switches.clear();
  cycles.Clear();
  firstEnds.count = secondEnds.count = 0;
  preamble = {};
  lastPlace = 0;
  most[0] = most[1] = 0;
  ends.clear();
  followers.Forget();
  for (MfzAwaited& list : lists) {
    list.Forget();
  }
  rankOf.clear();
  ++block;
}

uint32_t MfzBlockEncoder::NewRank(uint32_t thread) {
  const auto [found, isNew] = rankOf.emplace(thread, static_cast<uint32_t>(ends.size()));
  if (isNew) {
    preamble.threads.push_back(thread);
    ends.push_back(0);
  }
  known[thread % known.size()] = {thread, found->second, block};
  return found->second;
}

inline uint32_t MfzBlockEncoder::RankOf(uint32_t thread) {
  const Known& candidate = known[thread % known.size()];
  return candidate.block == block && candidate.thread == thread ? candidate.rank : NewRank(thread);
}

// Whether the place is where the follower of the last place was; from now on it is.
inline bool MfzBlockEncoder::Follows(uint32_t kind, uint64_t at) {
  if (!followsWorth.IsTaken()) {
    return false;
  }
  uint64_t& follower = followers.Behind(lastPlace, kind);
  return std::exchange(follower, at) == at;
}

inline bool MfzBlockEncoder::WasAwaited(uint32_t kind, uint32_t rank, uint64_t at) {
  if (kind != FIRE_RECORD - SWITCH_RECORD || rank >= lists.size() || !awaitedWorth.IsTaken()) {
    return false;
  }
  MfzAwaited& list = lists[rank];
  const size_t found = list.Find(at);
  if (!awaitedWorth.Meet(found < list.Size())) {
    return false;
  }
  list.Take(found);
  awaited.push_back(static_cast<uint8_t>(found));
  return true;
}

inline MfzWay MfzBlockEncoder::WayOf(uint32_t kind, uint32_t rank, uint64_t at) {
  const bool follows = Follows(kind, at);
  if (WasAwaited(kind, rank, at)) {
    return MfzWay::AWAITED;
  }
  if (kind != 0 && ends[rank] == at) {
    return MfzWay::LAST_END;
  }
  return followsWorth.Meet(follows) ? MfzWay::FOLLOWS : MfzWay::WRITTEN;
}

// An array has few switches, most often fewer than a byte tells apart.
void MfzBlockEncoder::WriteSwitch(uint64_t place) {
  std::vector<uint64_t>& list = preamble.switches;
  const auto found = std::find(list.begin(), list.end(), place);
  if (found == list.end() && list.size() == MFZ_RARE) {
    switches.push_back(MFZ_RARE);
    firstEnds.Add(place, lastPlace);
    return;
  }
  switches.push_back(static_cast<uint8_t>(found - list.begin()));
  if (found == list.end()) {
    list.push_back(place);
  }
}

void MfzBlockEncoder::Add(uint32_t kind, uint64_t cycle, uint32_t thread, Place at, Place to) {
  if (records == 0) {
    preamble.firstCycle = lastCycle = cycle;
  }
  const uint64_t step = cycle - lastCycle;
  MfzStep told = step == 0 ? MfzStep::SAME : MfzStep::NEXT;
  if (step > 1) {
    cycles.Signed(static_cast<int64_t>(step));
    told = MfzStep::WRITTEN;
  }
  lastCycle = cycle;
  const uint32_t rank = RankOf(thread);
  const uint64_t place = MfzPlaceOf(at);
  most[0] = std::max(most[0], at.column);
  most[1] = std::max(most[1], at.row);
  const MfzWay way = WayOf(kind, rank, place);
  if (way == MfzWay::WRITTEN) {
    if (kind == 0) {
      WriteSwitch(place);
    } else {
      firstEnds.Add(place, lastPlace);
    }
  }
  preamble.follows = preamble.follows || way == MfzWay::FOLLOWS;
  preamble.awaited = preamble.awaited || way == MfzWay::AWAITED;
  lastPlace = place;
  if (kind != 0) {
    ends[rank] = place;
  }
  if (kind == SEND_RECORD - SWITCH_RECORD) {
    const uint64_t end = MfzPlaceOf(to);
    most[0] = std::max(most[0], to.column);
    most[1] = std::max(most[1], to.row);
    secondEnds.Add(end, place);
    ends[rank] = end;
    if (rank < lists.size() && awaitedWorth.IsTaken()) {
      lists[rank].Add(end);
    }
  }
  kinds[records] = static_cast<uint8_t>(MfzHead::Number(0, told, way, kind));
  ranks[records++] = rank;
}

// The 255 heads that are met most often get a byte of their own.
void MfzBlockEncoder::EncodeHeads() {
  const size_t threads = preamble.threads.size();
  const auto aheadOf = [&, before = uint32_t{0}](uint32_t rank) mutable {
    const size_t ahead = rank >= before ? rank - before : rank + threads - before;
    before = rank;
    return ahead;
  };
  numbers.resize(records);
  std::vector<uint32_t> met;
  auto ahead = aheadOf;
  for (size_t i = 0; i < records; ++i) {
    const uint64_t number = ahead(ranks[i]) << MfzHead::AHEAD_SHIFT | kinds[i];
    numbers[i] = static_cast<uint32_t>(number);
    if (number < MOST_NUMBERS && counts[static_cast<size_t>(number)]++ == 0) {
      met.push_back(numbers[i]);
    }
  }
  std::sort(met.begin(), met.end(), [&](uint32_t a, uint32_t b) {
    return counts[a] != counts[b] ? counts[a] > counts[b] : a < b;
  });
  for (const uint32_t number : met) {
    counts[number] = 0;
  }
  met.resize(std::min<size_t>(met.size(), MFZ_RARE));
  std::sort(met.begin(), met.end());
  preamble.heads.assign(met.begin(), met.end());
  for (size_t i = 0; i < met.size(); ++i) {
    symbols[met[i]] = static_cast<uint8_t>(i);
  }
  ByteWriter rare;
  std::vector<uint8_t>& heads = columns[MFZ_HEADS];
  heads.resize(numbers.size());
  for (size_t i = 0; i < numbers.size(); ++i) {
    const uint8_t symbol = numbers[i] < MOST_NUMBERS ? symbols[numbers[i]] : MFZ_RARE;
    heads[i] = symbol;
    if (symbol == MFZ_RARE) {
      rare.Number(numbers[i]);
    }
  }
  for (const uint32_t number : met) {
    symbols[number] = MFZ_RARE;
  }
  columns[MFZ_RARE_HEADS] = rare.Take();
}

// As they are or as differences, whichever takes less as far as some of them tell.
void MfzBlockEncoder::PutPlaces(size_t column) {
  constexpr size_t STEP = 8;
  const size_t axis = column % 2;
  const Places& places = column < 2 ? firstEnds : secondEnds;
  const unsigned shift = axis == 0 ? 32 : 0;
  const uint64_t extent = preamble.extent[axis];
  const auto plainOf = [&](size_t i) { return static_cast<uint32_t>(places.values[i] >> shift); };
  const auto relativeOf = [&](size_t i) {
    return From(plainOf(i), static_cast<uint32_t>(places.bases[i] >> shift), extent);
  };
  std::array<uint32_t, 256> plain = {};
  std::array<uint32_t, 256> relative = {};
  for (size_t i = 0; i < places.count; i += STEP) {
    ++plain[plainOf(i) & 0xff];
    ++relative[relativeOf(i) & 0xff];
  }
  const size_t counted = (places.count + STEP - 1) / STEP;
  const bool isRelative = CostOf(relative, counted) < CostOf(plain, counted);
  preamble.relative[column] = isRelative;
  std::vector<uint8_t>& bytes = columns[MFZ_FIRST_PLACES + column];
  bytes.resize(places.count * preamble.Planes(axis));
  for (size_t plane = 0; plane < preamble.Planes(axis); ++plane) {
    uint8_t* const out = bytes.data() + plane * places.count;
    for (size_t i = 0; i < places.count; ++i) {
      const uint32_t value = isRelative ? relativeOf(i) : plainOf(i);
      out[i] = static_cast<uint8_t>(value >> (8 * plane));
    }
  }
}

// Each column is a block of zstd's of its own, so that bytes are counted apart which have nothing
// to do with each other.
void MfzBlockEncoder::Pack() {
  for (size_t i = 0; i < MFZ_COLUMNS; ++i) {
    preamble.bytes[i] = columns[i].size();
  }
  const std::vector<uint8_t> head = EncodeMfzPreamble(preamble);
  size_t all = head.size();
  for (const std::vector<uint8_t>& column : columns) {
    all += column.size();
  }
  constexpr size_t SPARE = 4096;
  packed.resize(ZSTD_compressBound(all) + SPARE);
  size_t size = 0;
  packer->Begin(all);
  packer->Add(head, ZSTD_e_flush, packed, size);
  for (const std::vector<uint8_t>& column : columns) {
    if (!column.empty()) {
      packer->Add(column, ZSTD_e_flush, packed, size);
    }
  }
  packer->Add({}, ZSTD_e_end, packed, size);
  packed.resize(size);
}

const std::vector<uint8_t>& MfzBlockEncoder::End() {
  preamble.records = records;
  preamble.extent[0] = uint64_t{most[0]} + 1;
  preamble.extent[1] = uint64_t{most[1]} + 1;
  EncodeHeads();
  columns[MFZ_CYCLES] = cycles.Bytes();
  columns[MFZ_RANKS] = awaited;
  columns[MFZ_SWITCHES] = switches;
  for (size_t i = 0; i < MFZ_PLACE_COLUMNS; ++i) {
    PutPlaces(i);
  }
  Pack();
  followsWorth.EndBlock();
  awaitedWorth.EndBlock();
  Begin();
  return packed;
}

}  // namespace marrowfin
