#include "trace/ask/QuietSpans.h"

#include <algorithm>
#include <bit>

#include "trace/index/ThreadMask.h"

namespace marrowfin {

namespace {

std::vector<size_t> TransmittersOf(const Summary& summary, const EventFilter& filter) {
  return filter.switches && filter.region ? SwitchesIn(summary, *filter.region)
                                          : std::vector<size_t>();
}

std::vector<size_t> CountersFor(const Summary& summary, const EventFilter& filter) {
  std::vector<bool> wanted(summary.ThreadSlots(), filter.HasEveryThread());
  const auto want = [&](uint32_t thread) {
    if (filter.HasThread(thread)) {
      wanted[summary.ThreadSlot(thread)] = true;
    }
  };
  if (filter.thread) {
    want(*filter.thread);
  } else if (!filter.HasEveryThread()) {
    for (const auto& [thread, unused] : summary.threads) {
      want(thread);
    }
    wanted[Summary::OTHER_THREADS] = true;  // any may be among these
  }
  std::vector<size_t> found;
  for (size_t slot = 0; slot < wanted.size(); ++slot) {
    if (!wanted[slot]) {
      continue;
    }
    for (size_t type = 0; type < RECORD_TYPES; ++type) {
      if (filter.HasType(static_cast<uint32_t>(SWITCH_RECORD + type))) {
        found.push_back(slot * RECORD_TYPES + type);
      }
    }
  }
  return found;
}

// Whether records of the threads that are asked for are counted by themselves.
bool CountsApart(const Summary& summary, const EventFilter& filter) {
  return filter.threads.empty()
             ? !filter.thread || summary.ThreadSlot(*filter.thread) != Summary::OTHER_THREADS
             : summary.otherThreads == 0;
}

// The bits that a mask has where any of the threads asked for was somewhere.
uint8_t BitsOf(const EventFilter& filter) {
  constexpr uint32_t FEW = 8;
  if (filter.thread) {
    return ThreadMask::BitOf(*filter.thread);
  }
  uint8_t bits = filter.threads.empty() ? 0xFF : 0;
  for (const ThreadRange& range : filter.threads) {
    if (range.last - range.first >= FEW) {
      return 0xFF;
    }
    for (uint64_t thread = range.first; thread <= range.last; ++thread) {
      bits |= ThreadMask::BitOf(static_cast<uint32_t>(thread));
    }
  }
  return bits;
}

}  // namespace

QuietSpans::QuietSpans(const Index& index, const EventFilter& filter)
    : index(index),
      filter(filter),
      tells(index.HasBoundaries() &&
            (filter.region || !filter.HasEveryThread() || !filter.HasEveryType())),
      sums(index, filter.region.value_or(Region()), TransmittersOf(index.GetSummary(), filter),
           CountersFor(index.GetSummary(), filter)) {}

uint64_t QuietSpans::RecordOf(size_t boundary) const {
  return boundary == 0 ? 0 : index.Boundaries()[boundary - 1].record;
}

// The last boundary at or before a record.
size_t QuietSpans::BoundaryAt(uint64_t record) const {
  const auto boundaries = index.Boundaries();
  return static_cast<size_t>(
      std::partition_point(boundaries.begin(), boundaries.end(),
                           [&](const IndexBoundary& b) { return b.record <= record; }) -
      boundaries.begin());
}

// How many ends of messages the nodes lack that may lie in the region.
uint64_t QuietSpans::FarEnds(size_t from, size_t to) const {
  if (!filter.region || !filter.sends || !index.GetSummary().far.MayBeIn(filter.region->last)) {
    return 0;
  }
  const auto upTo = [&](size_t b) { return b == 0 ? 0 : index.Boundaries()[b - 1].farEnds; };
  return upTo(to) - upTo(from);
}

Result<CountBounds> QuietSpans::Between(size_t from, size_t to) {
  uint64_t counts[ACTIVITIES] = {};
  for (const Activity activity : {FIRES, SENDS, RECEIVES, TRANSMISSIONS, THREAD_RECORDS}) {
    const bool wanted = activity == FIRES            ? filter.fires && filter.region
                        : activity == TRANSMISSIONS  ? sums.HasTransmitters()
                        : activity == THREAD_RECORDS ? !filter.HasEveryThread() || !filter.region
                                                     : filter.sends && filter.region;
    const Result<uint64_t> sum = wanted ? sums.Between(from, to, activity) : Result<uint64_t>(0);
    if (!sum) {
      return sum.Why();
    }
    counts[activity] = *sum;
  }
  // Of a message between two of the region's elements both ends are counted.
  const uint64_t others = counts[FIRES] + counts[TRANSMISSIONS];
  CountBounds bounds = {others + std::max(counts[SENDS], counts[RECEIVES]),
                        others + counts[SENDS] + counts[RECEIVES] + FarEnds(from, to)};
  if (!filter.region) {
    bounds = {counts[THREAD_RECORDS], counts[THREAD_RECORDS]};
  } else if (!filter.HasEveryThread()) {
    bounds = {0, std::min(bounds.most, counts[THREAD_RECORDS])};
  }
  if (!CountsApart(index.GetSummary(), filter) || !filter.HasEveryCycle() ||
      !filter.without.empty()) {
    bounds.least = 0;
  }
  return bounds;
}

// Whether the index knows that nothing that matches happened between two boundaries, the first of
// which is a multiple of their distance, a power of two. What is cheap to know is asked first.
Result<bool> QuietSpans::IsQuiet(size_t from, size_t to) {
  if (!filter.HasEveryThread() || !filter.region) {
    const Result<uint64_t> records = sums.Between(from, to, THREAD_RECORDS);
    if (!records || *records == 0 || !filter.region) {
      return records ? Result<bool>(*records == 0) : records.Why();
    }
  }
  if (sums.HasTransmitters()) {
    const Result<uint64_t> transmissions = sums.Between(from, to, TRANSMISSIONS);
    if (!transmissions || *transmissions != 0) {
      return transmissions ? Result<bool>(false) : transmissions.Why();
    }
  }
  if (FarEnds(from, to) > 0) {
    return false;
  }
  Result<bool> untouched = IsUntouched(from, to);
  if (!untouched || *untouched) {
    return untouched;
  }
  return HasNone(from, to);
}

// Whether nothing that concerns elements happened in the region, by their counters.
Result<bool> QuietSpans::HasNone(size_t from, size_t to) {
  for (const Activity activity : {FIRES, SENDS, RECEIVES}) {
    if (activity == FIRES ? filter.fires : filter.sends) {
      const Result<uint64_t> sum = sums.Between(from, to, activity);
      if (!sum || *sum != 0) {
        return sum ? Result<bool>(false) : sum.Why();
      }
    }
  }
  return true;
}

// Whether a mask tells that no such thread touched the region; the smallest mask that covers the
// span is the one to ask.
Result<bool> QuietSpans::IsUntouched(size_t from, size_t to) {
  const uint8_t wanted = BitsOf(filter);
  for (size_t level = static_cast<size_t>(std::countr_zero(to - from));; ++level) {
    const size_t end = ((from >> level) + 1) << level;
    if (end > index.Boundaries().size()) {
      return false;
    }
    if (index.HasMask(end, level)) {
      const Result<uint8_t> bits =
          index.MaskOf(end, level, filter.region->first, filter.region->last);
      return bits ? Result<bool>((*bits & wanted) == 0) : bits.Why();
    }
  }
}

// What lies behind the last boundary is known of threads alone: all that the trace has of one may
// lie before.
Result<bool> QuietSpans::IsTailQuiet() {
  const Summary& summary = index.GetSummary();
  const size_t slot = filter.thread ? summary.ThreadSlot(*filter.thread) : Summary::OTHER_THREADS;
  const auto found = summary.threads.find(filter.thread.value_or(0));
  if (slot == Summary::OTHER_THREADS || found == summary.threads.end()) {
    return false;
  }
  const size_t first = slot * RECORD_TYPES;
  const size_t ofSlot[] = {first, first + 1, first + 2};
  uint64_t before = 0;
  for (size_t node = index.Boundaries().size(); node > 0; node &= node - 1) {
    const Result<uint64_t> part = index.SumCounters(node, THREAD_RECORDS, ofSlot);
    if (!part) {
      return part.Why();
    }
    before += *part;
  }
  return before == found->second;
}

// A span that was quiet is followed by one of twice its length, one that was not by half of it;
// spans begin at multiples of their length, so that few nodes tell of each.
Result<uint64_t> QuietSpans::PassOver(uint64_t record, uint64_t end,
                                      const ReachedFunction& reached) {
  if (!tells) {
    return record;
  }
  const size_t last = index.Boundaries().size();
  size_t b = BoundaryAt(record);
  size_t span = 1;
  while (b != active && RecordOf(b) < end && reached(std::max(record, RecordOf(b)))) {
    const size_t left = b < last ? std::bit_floor(last - b) : 0;
    span = std::min({span, left, b == 0 ? left : b & -b});
    const Result<bool> quiet = b < last ? IsQuiet(b, b + span) : IsTailQuiet();
    if (!quiet) {
      return quiet.Why();
    }
    if (*quiet && b == last) {
      return end;
    }
    if (*quiet) {
      b += span;
      span *= 2;
    } else if (span <= 1) {
      active = b;
    } else {
      span /= 2;
    }
  }
  return std::min(end, std::max(record, RecordOf(b)));
}

Result<uint64_t> QuietSpans::PassBack(uint64_t record, uint64_t begin,
                                      const ReachedFunction& reached) {
  const size_t last = index.Boundaries().size();
  size_t b = tells ? BoundaryAt(record - 1) + 1 : 0;
  if (!tells || b - 1 == active) {
    return record;
  }
  if (b > last) {
    const Result<bool> quiet = IsTailQuiet();
    if (!quiet || !*quiet) {
      active = last;
      return quiet ? Result<uint64_t>(record) : quiet.Why();
    }
    b = last;
  }
  size_t span = 1;
  while (b > 0 && b - 1 != active && RecordOf(b) > begin &&
         reached(std::min(record, RecordOf(b)))) {
    span = std::min(span, b & -b);
    const Result<bool> quiet = IsQuiet(b - span, b);
    if (!quiet) {
      return quiet.Why();
    }
    if (*quiet) {
      b -= span;
      span *= 2;
    } else if (span == 1) {
      active = b - 1;
    } else {
      span /= 2;
    }
  }
  return std::max(begin, std::min(record, RecordOf(b)));
}

}  // namespace marrowfin
