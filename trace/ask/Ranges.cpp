#include "trace/ask/Ranges.h"

#include <algorithm>
#include <charconv>
#include <limits>
#include <string_view>
#include <system_error>

namespace marrowfin {

namespace {

template <class Number>
bool Parse(std::string_view text, Number& number) {
  const char* const end = text.data() + text.size();
  const auto parsed = std::from_chars(text.data(), end, number);
  return !text.empty() && parsed.ec == std::errc() && parsed.ptr == end;
}

// A column and a row.
bool TakePlace(std::string_view text, Place& place) {
  const size_t comma = text.find(',');
  return comma != std::string_view::npos && Parse(text.substr(0, comma), place.column) &&
         Parse(text.substr(comma + 1), place.row);
}

bool IsTurned(const RegionWords& region) {
  return region.last.column < region.first.column || region.last.row < region.first.row;
}

std::string Turned(const std::string& text) {
  return text + " has its last corner before its first";
}

// "5" or "2-5".
bool TakeThreads(std::string_view text, ThreadRange& range) {
  const size_t dash = text.find('-');
  const bool good = Parse(text.substr(0, dash), range.first);
  range.last = range.first;
  return good && (dash == std::string_view::npos || Parse(text.substr(dash + 1), range.last)) &&
         range.first <= range.last;
}

// In order, those that touch made one.
void Tidy(std::vector<ThreadRange>& threads) {
  std::sort(threads.begin(), threads.end(),
            [](const ThreadRange& a, const ThreadRange& b) { return a.first < b.first; });
  size_t kept = 0;
  for (const ThreadRange& range : threads) {
    if (kept > 0 && range.first <= uint64_t{threads[kept - 1].last} + 1) {
      threads[kept - 1].last = std::max(threads[kept - 1].last, range.last);
    } else {
      threads[kept++] = range;
    }
  }
  threads.resize(kept);
}

bool TakeWord(std::string_view& text, std::string_view word) {
  if (!text.starts_with(word)) {
    return false;
  }
  text.remove_prefix(word.size());
  return true;
}

}  // namespace

std::string ParseRange(const std::string& text, NumberRange& range) {
  const std::string_view all = text;
  const size_t points = all.find("..");
  const size_t between = points == std::string_view::npos ? all.find(':') : points;
  const size_t length = points == std::string_view::npos ? 1 : 2;
  const std::string_view first = all.substr(0, between);
  range = {};
  bool good = true;
  if (between == std::string_view::npos) {
    good = Parse(first, range.first);
    range.last = range.first;
  } else {
    const std::string_view last = all.substr(between + length);
    good = (first.empty() || Parse(first, range.first)) &&
           (last.empty() || Parse(last, range.last)) && all.size() > length;
  }
  if (!good) {
    return text + " is no number and no range FIRST..LAST of numbers";
  }
  return range.first > range.last ? text + " ends before it begins" : "";
}

std::string ParseThreads(const std::string& text, std::vector<ThreadRange>& threads) {
  threads.clear();
  std::string_view rest = text;
  for (bool more = true; more;) {
    const size_t comma = rest.find(',');
    threads.emplace_back();
    if (!TakeThreads(rest.substr(0, comma), threads.back())) {
      return text + " is no list of threads: say numbers and ranges, as in 0,2-5";
    }
    more = comma != std::string_view::npos;
    rest.remove_prefix(more ? comma + 1 : rest.size());
  }
  Tidy(threads);
  return "";
}

std::optional<Region> RegionWords::In(const ArrayShape& shape) const {
  if (kind == POSITIONS) {
    return Positions();
  }
  const ArrayShape& s = shape;
  const uint32_t columns = s.clusters.columns * (kind == DOMAIN ? s.domains.columns : 1);
  const uint32_t rows = s.clusters.rows * (kind == DOMAIN ? s.domains.rows : 1);
  if (first.column >= columns || first.row >= rows) {
    return std::nullopt;
  }
  return kind == CLUSTER ? Region::Cluster(shape, first.column, first.row)
                         : Region::Domain(shape, first.column, first.row);
}

std::string ParseRegion(const std::string& text, RegionWords& region) {
  region = {};
  std::string_view rest = text;
  region.kind = TakeWord(rest, "cluster:")  ? RegionWords::CLUSTER
                : TakeWord(rest, "domain:") ? RegionWords::DOMAIN
                                            : RegionWords::POSITIONS;
  const size_t colon = region.NeedsArray() ? std::string_view::npos : rest.find(':');
  bool good = TakePlace(rest.substr(0, colon), region.first);
  region.last = region.first;
  if (colon != std::string_view::npos) {
    good = good && TakePlace(rest.substr(colon + 1), region.last);
  }
  if (!good) {
    return text +
           " is no COLUMN,ROW, no COLUMN,ROW:COLUMN,ROW, no cluster:COLUMN,ROW and no "
           "domain:COLUMN,ROW";
  }
  return IsTurned(region) ? Turned(text) : "";
}

std::string ParsePlace(const std::string& text, Place& place) {
  return TakePlace(text, place) ? "" : text + " is no position: say column and row, as in 7,2";
}

std::string ParseRectangle(const std::string& text, RegionWords& region) {
  region = {};
  const std::string_view all = text;
  const size_t half = all.find(',', all.find(',') + 1);
  if (half == std::string_view::npos || !TakePlace(all.substr(0, half), region.first) ||
      !TakePlace(all.substr(half + 1), region.last)) {
    return text + " is no rectangle: say its first and its last corner, as in 0,0,7,7";
  }
  return IsTurned(region) ? Turned(text) : "";
}

}  // namespace marrowfin
