#include "convert/import/Popnet.h"

#include "convert/import/LineNumbers.h"

namespace marrowfin {
namespace {

constexpr size_t FIELDS = 6;

// A cycle that may be written as a real.
std::optional<uint64_t> CycleOf(std::string_view text) {
  if (const std::optional<uint64_t> whole = WholeNumber<uint64_t>(text)) {
    return whole;
  }
  const std::optional<double> real = WholeNumber<double>(text);
  constexpr double BEHIND_ALL = 18446744073709551616.0;
  return real && *real >= 0 && *real < BEHIND_ALL ? std::optional(static_cast<uint64_t>(*real))
                                                  : std::nullopt;
}

class PopnetStream : public EventStream {
 public:
  PopnetStream(InputBytes& input, const StreamOptions& options) : input(input), options(options) {}

  Fault Begin(NotesWriter* notes) override {
    if (notes != nullptr) {
      size = notes->Attribute(SIZE_ATTRIBUTE, NoteType::NUMBER, "flits");
    }
    return {};
  }

  Result<bool> Next(StreamEvent& event, uint64_t record) override;

 private:
  // What is wrong with the words; nothing where they are an event.
  std::string Fill(StreamEvent& event) const;

  InputBytes& input;
  const StreamOptions options;
  std::optional<uint32_t> size;  // the attribute
  std::vector<std::string_view> words;
};

Result<bool> PopnetStream::Next(StreamEvent& event, uint64_t) {
  std::string_view line;
  while (input.Line(line)) {
    if (IsRemark(line)) {
      continue;
    }
    ++counts.read;
    SplitAtBlanks(line, words);
    const std::string wrong = Fill(event);
    if (wrong.empty()) {
      return true;
    }
    const SkipReason reason = words.size() < FIELDS ? SKIP_INCOMPLETE : SKIP_ODD_VALUE;
    if (Fault fault =
            Skip(options, input, reason, "line " + std::to_string(input.LineNumber()), wrong)) {
      return fault;
    }
  }
  if (Fault fault = input.Trouble() ? input.Trouble() : WhyNothing()) {
    return fault;
  }
  return false;
}

std::string PopnetStream::Fill(StreamEvent& event) const {
  if (words.size() != FIELDS) {
    return std::to_string(words.size()) + " words where there should be " + std::to_string(FIELDS);
  }
  const std::optional<uint64_t> cycle = CycleOf(words[0]);
  if (!cycle) {
    return "a cycle that is no number";
  }
  uint32_t places[4];
  for (size_t i = 0; i < std::size(places); ++i) {
    const std::optional<uint32_t> place = WholeNumber<uint32_t>(words[1 + i]);
    if (!place) {
      return "a column or row that is no number";
    }
    places[i] = *place;
  }
  const std::optional<uint64_t> flits = WholeNumber<uint64_t>(words[5]);
  if (!flits) {
    return "a number of flits that is none";
  }
  event.type = SEND_RECORD;
  event.cycle = *cycle;
  event.at = {places[0], places[1]};
  event.to = {places[2], places[3]};
  event.notes.clear();
  if (size) {
    event.notes.push_back({*size, *flits});
  }
  return "";
}

}  // namespace

std::unique_ptr<EventStream> OpenPopnet(InputBytes& input, const StreamOptions& options) {
  return std::make_unique<PopnetStream>(input, options);
}

}  // namespace marrowfin
