#include "trace/ask/NoteSpans.h"

#include <algorithm>

namespace marrowfin {

namespace {

// Whether values between two keys, of whose bits some are set, may be as asked.
bool MayCompare(const NoteCondition& condition, NoteType type, const NoteColumnSummary& column) {
  const uint64_t key = NoteColumnSummary::KeyOf(type, condition.value);
  const bool hasBit =
      type == NoteType::REAL || (column.bits & NoteColumnSummary::BitOf(condition.value)) != 0;
  switch (condition.comparison) {
    case NoteCondition::EQUAL:
    case NoteCondition::CONTAINS:
      return column.low <= key && column.high >= key && hasBit;
    case NoteCondition::NOT_EQUAL:
      return column.low != key || column.high != key;
    case NoteCondition::BELOW:
      return column.low < key;
    case NoteCondition::AT_MOST:
      return column.low <= key;
    case NoteCondition::ABOVE:
      return column.high > key;
    case NoteCondition::AT_LEAST:
      return column.high >= key;
    default:
      return column.low <= NoteColumnSummary::KeyOf(type, condition.last) && column.high >= key;
  }
}

}  // namespace

NoteSpans::NoteSpans(NotesOfTrace& notes, const std::vector<NoteCondition>& conditions)
    : notes(notes),
      conditions(conditions),
      mayHaveNone(std::all_of(conditions.begin(), conditions.end(), [](const auto& condition) {
        return condition.comparison == NoteCondition::HAS_NOT;
      })) {}

bool NoteSpans::MayMatch(size_t block) {
  const NoteBlockSummary* summary = notes.Known(block);
  if (summary == nullptr || !summary->known) {
    return true;
  }
  const NotesEntry& entry = notes.Entry(block);
  return std::all_of(conditions.begin(), conditions.end(), [&](const NoteCondition& condition) {
    const NoteColumnSummary column = condition.attribute < summary->columns.size()
                                         ? summary->columns[condition.attribute]
                                         : NoteColumnSummary();
    if (condition.comparison == NoteCondition::HAS_NOT) {
      return column.records < entry.high - entry.low;
    }
    return column.records > 0 &&
           (condition.comparison == NoteCondition::HAS ||
            MayCompare(condition, notes.Declarations().attributes[condition.attribute].type,
                       column));
  });
}

NoteSpans::Span NoteSpans::At(uint64_t record) {
  const size_t block = notes.BlockAt(record);
  const bool isLast = block == notes.Blocks();
  if (!isLast && notes.Entry(block).low <= record) {
    return {notes.Entry(block).low, notes.Entry(block).high, MayMatch(block)};
  }
  return {block == 0 ? 0 : notes.Entry(block - 1).high,
          isLast ? ~uint64_t{0} : notes.Entry(block).low, mayHaveNone};
}

RecordRange NoteSpans::From(uint64_t record, uint64_t end) {
  RecordRange range = {record, record};
  while (range.end < end) {
    const Span span = At(range.end);
    if (!span.mayMatch && range.begin < range.end) {
      return range;
    }
    range.end = std::min(end, span.end);
    range.begin = span.mayMatch ? range.begin : range.end;
  }
  return range;
}

RecordRange NoteSpans::Before(uint64_t record, uint64_t begin) {
  RecordRange range = {record, record};
  while (range.begin > begin) {
    const Span span = At(range.begin - 1);
    if (!span.mayMatch && range.begin < range.end) {
      return range;
    }
    range.begin = std::max(begin, span.begin);
    range.end = span.mayMatch ? range.end : range.begin;
  }
  return range;
}

}  // namespace marrowfin
