#include "trace/ask/Ranges.h"

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
bool ParsePlace(std::string_view text, Place& place) {
  const size_t comma = text.find(',');
  return comma != std::string_view::npos && Parse(text.substr(0, comma), place.column) &&
         Parse(text.substr(comma + 1), place.row);
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
  const size_t colon = all.find(':');
  const std::string_view first = all.substr(0, colon);
  range = {};
  bool good = true;
  if (colon == std::string_view::npos) {
    good = Parse(first, range.first);
    range.last = range.first;
  } else {
    const std::string_view last = all.substr(colon + 1);
    good = (first.empty() || Parse(first, range.first)) &&
           (last.empty() || Parse(last, range.last)) && all.size() > 1;
  }
  if (!good) {
    return text + " is no number and no range FIRST:LAST of numbers";
  }
  return range.first > range.last ? text + " ends before it begins" : "";
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
  bool good = ParsePlace(rest.substr(0, colon), region.first);
  region.last = region.first;
  if (colon != std::string_view::npos) {
    good = good && ParsePlace(rest.substr(colon + 1), region.last);
  }
  if (!good) {
    return text +
           " is no COLUMN,ROW, no COLUMN,ROW:COLUMN,ROW, no cluster:COLUMN,ROW and no "
           "domain:COLUMN,ROW";
  }
  const bool turned =
      region.last.column < region.first.column || region.last.row < region.first.row;
  return turned ? text + " has its last corner before its first" : "";
}

}  // namespace marrowfin
