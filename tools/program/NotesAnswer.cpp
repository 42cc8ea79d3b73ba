#include "tools/program/NotesAnswer.h"

#include <algorithm>
#include <numeric>
#include <string>
#include <utility>
#include <vector>

#include "trace/ask/CounterOverTime.h"
#include "trace/ask/NoteCondition.h"
#include "trace/ask/NotedPlaces.h"
#include "trace/ask/NotesOverTime.h"
#include "trace/base/Record.h"

namespace marrowfin {

namespace {

typedef AnswerTable::Cell Cell;
typedef std::vector<Cell> Row;

const NoteDeclarations& DeclarationsOf(const NotesAsked& asked) {
  return asked.joined.notes.Declarations();
}

// The cycles of a bin; nothing for one that has none.
std::optional<Row> CyclesOf(const std::vector<uint64_t>& firsts, uint64_t last, size_t bin) {
  if (bin + 1 < firsts.size() && firsts[bin + 1] == firsts[bin]) {
    return std::nullopt;
  }
  return Row{firsts[bin], bin + 1 < firsts.size() ? firsts[bin + 1] - 1 : last};
}

bool HasRecords(const NoteBins& bins, size_t slot) {
  uint64_t sum = 0;
  for (const uint32_t type : {SWITCH_RECORD, FIRE_RECORD, SEND_RECORD}) {
    const auto counts = bins.Of(slot, type);
    sum = std::accumulate(counts.begin(), counts.end(), sum);
  }
  return sum != 0;
}

Cell ValueCell(const NoteAttribute& attribute, uint64_t value) {
  return attribute.type == NoteType::NUMBER ? Cell(value) : Cell(NoteValueText(attribute, value));
}

// The slots of values that are told, and what they are called.
std::vector<std::pair<size_t, Cell>> SlotsOf(const NoteBins& bins, const NoteAttribute& attribute) {
  std::vector<std::pair<size_t, Cell>> slots;
  for (size_t i = 0; i < bins.values.size(); ++i) {
    slots.emplace_back(i, ValueCell(attribute, bins.values[i]));
  }
  if (HasRecords(bins, bins.None())) {
    slots.emplace_back(bins.None(), Cell());
  }
  if (HasRecords(bins, bins.Others())) {
    slots.emplace_back(bins.Others(), "(others)");
  }
  return slots;
}

Row& operator<<(Row& row, Cell cell) {
  row.push_back(std::move(cell));
  return row;
}

// Nothing but for the cycles where there is no value.
void AddSpan(const CounterSpan& span, Row& row) {
  if (span.cycles == 0) {
    row << Cell() << Cell() << Cell();
  } else {
    row << span.low << span.sum / static_cast<double>(span.cycles) << span.high;
  }
}

Result<CounterBins> Ask(const NotesAsked& asked, uint32_t counter, const std::optional<Place>& at,
                        size_t bins) {
  const CounterQuestion question = {counter, at, asked.range.first, asked.range.last, bins};
  return CounterOverTime(asked.joined.notes.File(), *asked.joined.index, question, asked.progress);
}

// The span of the range; one without a value where there is no cycle in it.
Result<CounterSpan> AskWhole(const NotesAsked& asked, uint32_t counter,
                             const std::optional<Place>& at) {
  const Result<CounterBins> bins = Ask(asked, counter, at, 1);
  if (!bins) {
    return bins.Why();
  }
  return bins->spans.empty() ? CounterSpan() : bins->spans.front();
}

}  // namespace

Result<AnswerTable> TellValues(const NotesAsked& asked, uint32_t attribute) {
  const ActivityQuestion question = {asked.range.first, asked.range.last, asked.range.bins};
  const Result<NoteBins> bins =
      NotesOverTime(*asked.trace.file, *asked.trace.index, asked.joined.notes, *asked.joined.index,
                    attribute, question, asked.progress);
  if (!bins) {
    return bins.Why();
  }
  AnswerTable table = {{"first", "last", "value", "fires", "sends", "transmissions"}, {}};
  const auto slots = SlotsOf(*bins, DeclarationsOf(asked).attributes[attribute]);
  for (size_t bin = 0; bin < bins->firsts.size(); ++bin) {
    const std::optional<Row> cycles = CyclesOf(bins->firsts, bins->last, bin);
    for (size_t i = 0; cycles && i < slots.size(); ++i) {
      Row& row = table.rows.emplace_back(*cycles);
      row << slots[i].second;
      for (const uint32_t type : {FIRE_RECORD, SEND_RECORD, SWITCH_RECORD}) {
        row << bins->Of(slots[i].first, type)[bin];
      }
    }
  }
  return table;
}

Result<AnswerTable> TellCounter(const NotesAsked& asked, uint32_t counter,
                                const std::optional<Place>& at) {
  const Result<CounterBins> bins = Ask(asked, counter, at, asked.range.bins);
  if (!bins) {
    return bins.Why();
  }
  AnswerTable table = {{"first", "last", "lowest", "mean", "highest"}, {}};
  for (size_t bin = 0; bin < bins->firsts.size(); ++bin) {
    if (const std::optional<Row> cycles = CyclesOf(bins->firsts, bins->last, bin)) {
      AddSpan(bins->spans[bin], table.rows.emplace_back(*cycles));
    }
  }
  return table;
}

Result<AnswerTable> TellCounterByPlace(const NotesAsked& asked, uint32_t counter) {
  std::vector<Place> places = asked.joined.index->PlacesOf(counter);
  std::sort(places.begin(), places.end(), InRowOrder());
  AnswerTable table = {{"column", "row", "lowest", "mean", "highest"}, {}};
  for (const Place& place : places) {
    const Result<CounterSpan> span = AskWhole(asked, counter, place);
    if (!span) {
      return span.Why();
    }
    AddSpan(*span, table.rows.emplace_back(Row{uint64_t{place.column}, uint64_t{place.row}}));
  }
  return table;
}

Result<AnswerTable> TellCounters(const NotesAsked& asked) {
  AnswerTable table = {{"counter", "unit", "places", "lowest", "mean", "highest"}, {}};
  const std::vector<NoteCounter>& counters = DeclarationsOf(asked).counters;
  for (uint32_t number = 0; number < counters.size(); ++number) {
    const Result<CounterSpan> span = AskWhole(asked, number, std::nullopt);
    if (!span) {
      return span.Why();
    }
    const uint64_t places = asked.joined.index->PlacesOf(number).size();
    Row& row = table.rows.emplace_back();
    row << counters[number].name << counters[number].unit << places;
    AddSpan(*span, row);
  }
  return table;
}

Result<AnswerTable> CountByPlace(const NotesAsked& asked, const NotedFilter& filter) {
  const Result<EventsAtPlaces> counts = CountAtPlaces(*asked.trace.file, *asked.trace.index,
                                                      asked.joined.notes, filter, asked.progress);
  if (!counts) {
    return counts.Why();
  }
  AnswerTable table = {{"column", "row", "events"}, {}};
  for (const auto& [place, count] : *counts) {
    table.rows.push_back({uint64_t{place.column}, uint64_t{place.row}, count});
  }
  return table;
}

}  // namespace marrowfin
