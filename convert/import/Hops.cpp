#include "convert/import/Hops.h"

#include <algorithm>

#include "convert/import/LineNumbers.h"
#include "convert/import/Refusal.h"

namespace marrowfin {
namespace {

enum Field { CYCLE, FROM, TO, COLUMN, ROW, TO_COLUMN, TO_ROW, THREAD, PACKET_NUMBER, FIELDS };
constexpr const char* NAMES[FIELDS] = {"cycle",    "from",  "to",     "column", "row",
                                       "toColumn", "toRow", "thread", "packet"};
constexpr size_t MOST_NUMBERS = 1000;  // in a line

class HopStream : public EventStream {
 public:
  HopStream(InputBytes& input, const StreamOptions& options) : input(input), options(options) {}

  Fault Begin(NotesWriter* notes) override;
  Result<bool> Next(StreamEvent& event, uint64_t record) override;

 private:
  Fault TakeMap();
  Fault Refuse(const std::string& why, const std::string& remedy) const {
    return Refusal(input.Name(), why, remedy);
  }
  bool UsesPlaces() const { return positions[COLUMN] != 0; }

  template <class Number>
  bool Take(Field field, Number& number, std::string& wrong) const;
  std::string Fill(StreamEvent& event) const;

  InputBytes& input;
  const StreamOptions options;
  std::array<size_t, FIELDS> positions = {};  // counted from 1; 0 for what is not there
  std::optional<uint32_t> packet;             // the attribute
  std::vector<std::string_view> numbers;
};

Fault HopStream::Begin(NotesWriter* notes) {
  if (Fault fault = TakeMap()) {
    return fault;
  }
  if (notes != nullptr && positions[PACKET_NUMBER] != 0) {
    packet = notes->Attribute(PACKET_ATTRIBUTE, NoteType::NUMBER);
  }
  return {};
}

Fault HopStream::TakeMap() {
  for (const auto& [name, position] : options.names) {
    const auto* const field = std::find(std::begin(NAMES), std::end(NAMES), name);
    const std::optional<size_t> number = WholeNumber<size_t>(position);
    if (field == std::end(NAMES) || !number || *number == 0 || *number > MOST_NUMBERS) {
      return Refuse("there is no " + name + "=" + position + " of a hop",
                    "say which number of a line is what, as in cycle=1,from=2,to=3; there are "
                    "cycle, from, to, column, row, toColumn, toRow, thread and packet");
    }
    positions[static_cast<size_t>(field - NAMES)] = *number;
  }
  positions[CYCLE] = positions[CYCLE] == 0 ? 1 : positions[CYCLE];
  const bool some =
      positions[COLUMN] + positions[ROW] + positions[TO_COLUMN] + positions[TO_ROW] > 0;
  const bool all = positions[COLUMN] > 0 && positions[ROW] > 0 && positions[TO_COLUMN] > 0 &&
                   positions[TO_ROW] > 0;
  if (some && !all) {
    return Refuse("of column, row, toColumn and toRow some are not told",
                  "say of all four which number of a line they are");
  }
  if (!some) {
    positions[FROM] = positions[FROM] == 0 ? 2 : positions[FROM];
    positions[TO] = positions[TO] == 0 ? 3 : positions[TO];
    if (!options.width) {
      return Refuse("routers have numbers, and nothing tells where they are",
                    "say how many columns the mesh has with --width, or which numbers are column, "
                    "row, toColumn and toRow");
    }
  }
  return {};
}

Result<bool> HopStream::Next(StreamEvent& event, uint64_t) {
  std::string_view line;
  while (input.Line(line)) {
    if (IsRemark(line)) {
      continue;
    }
    ++counts.read;
    SplitAtDigits(line, numbers);
    const std::string wrong = Fill(event);
    if (wrong.empty()) {
      return true;
    }
    const bool lacks = numbers.size() < *std::max_element(positions.begin(), positions.end());
    if (Fault fault = Skip(options, input, lacks ? SKIP_INCOMPLETE : SKIP_ODD_VALUE,
                           "line " + std::to_string(input.LineNumber()), wrong)) {
      return fault;
    }
  }
  if (Fault fault = input.Trouble() ? input.Trouble() : WhyNothing()) {
    return fault;
  }
  return false;
}

template <class Number>
bool HopStream::Take(Field field, Number& number, std::string& wrong) const {
  if (positions[field] > numbers.size()) {
    wrong = "there is no number " + std::to_string(positions[field]) + ", its " + NAMES[field];
    return false;
  }
  const std::optional<Number> taken = WholeNumber<Number>(numbers[positions[field] - 1]);
  wrong = taken ? "" : std::string("a ") + NAMES[field] + " that is too large";
  number = taken.value_or(number);
  return taken.has_value();
}

std::string HopStream::Fill(StreamEvent& event) const {
  std::string wrong;
  event = StreamEvent();
  bool good = Take(CYCLE, event.cycle, wrong);
  if (UsesPlaces()) {
    good = good && Take(COLUMN, event.at.column, wrong) && Take(ROW, event.at.row, wrong) &&
           Take(TO_COLUMN, event.to.column, wrong) && Take(TO_ROW, event.to.row, wrong);
  } else {
    uint32_t from = 0;
    uint32_t to = 0;
    good = good && Take(FROM, from, wrong) && Take(TO, to, wrong);
    event.at = {from % *options.width, from / *options.width};
    event.to = {to % *options.width, to / *options.width};
  }
  good = good && (positions[THREAD] == 0 || Take(THREAD, event.thread, wrong));
  uint64_t number = 0;
  if (good && positions[PACKET_NUMBER] != 0 && Take(PACKET_NUMBER, number, wrong) && packet) {
    event.notes.push_back({*packet, number});
  }
  return wrong;
}

}  // namespace

std::unique_ptr<EventStream> OpenHops(InputBytes& input, const StreamOptions& options) {
  return std::make_unique<HopStream>(input, options);
}

}  // namespace marrowfin
