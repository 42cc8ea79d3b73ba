#include "trace/ask/LastTouches.h"

#include <algorithm>
#include <vector>

#include "trace/ask/BatchCursor.h"
#include "trace/ask/EventFilter.h"
#include "trace/ask/Walk.h"
#include "trace/base/Record.h"

namespace marrowfin {

namespace {

// About what it takes to look a piece up, in records, and how many are gone through at first.
constexpr uint64_t LOOKUP = 65536;
constexpr uint64_t PASS = 16 * LOOKUP;

// The pieces whose last event is not found yet.
class Wanted {
 public:
  Wanted(const ArrayState& state, const Region& region)
      : shape(state.shape), elements(state.elementCodes), switches(state.switchCodes) {
    for (size_t i = 0; i < elements.size(); ++i) {
      Keep(elements[i], region.Has(shape.ElementAt(i)), ElementCodes::UNTOUCHED);
    }
    for (size_t i = 0; i < switches.size(); ++i) {
      Keep(switches[i], region.Has(shape.SwitchAt(i)), SwitchCodes::UNTOUCHED);
    }
  }

  size_t Left() const { return left; }

  // Whether the event is the last one of a piece, which is not wanted any more then.
  bool Take(const TraceEvent& event, Piece& piece) {
    piece.isSwitch = event.type == SWITCH_RECORD;
    if (piece.isSwitch ? !shape.HasSwitch(event.at) : !shape.HasElement(event.at)) {
      return false;
    }
    piece.number = static_cast<uint32_t>(piece.isSwitch ? shape.SwitchNumber(event.at)
                                                        : shape.ElementNumber(event.at));
    uint8_t& wanted = (piece.isSwitch ? switches : elements)[piece.number];
    left -= wanted;
    const bool found = wanted != 0;
    wanted = 0;
    return found;
  }

  // One that is left.
  Piece Any() const {
    const auto element = std::find(elements.begin(), elements.end(), 1);
    if (element != elements.end()) {
      return {false, static_cast<uint32_t>(element - elements.begin())};
    }
    const auto filed = std::find(switches.begin(), switches.end(), 1);
    return {true, static_cast<uint32_t>(filed - switches.begin())};
  }

  Place PlaceOf(const Piece& piece) const {
    return piece.isSwitch ? shape.SwitchAt(piece.number) : shape.ElementAt(piece.number);
  }

 private:
  void Keep(uint8_t& code, bool inside, uint8_t untouched) {
    code = inside && code != untouched ? 1 : 0;
    left += code;
  }

  const ArrayShape shape;
  std::vector<uint8_t> elements;  // 1 for those that are wanted
  std::vector<uint8_t> switches;
  size_t left = 0;
};

}  // namespace

Fault FindLastTouches(const TraceSource& trace, const Index& index, const ArrayState& state,
                      const Region& region, uint64_t lastCycle, const TouchFunction& take,
                      const ProgressCallback& progress) {
  Wanted wanted(state, region);
  EventFilter filter;
  filter.firstRecord = state.first;
  filter.lastRecord = state.last;
  filter.lastCycle = lastCycle;
  filter.sends = false;
  filter.region = region;
  Selection found;
  BatchCursor all(trace, index, filter, progress);
  all.Seek(state.last);
  uint64_t reached = state.last;
  // Going on costs at most what is left, a look-up of each piece about so much.
  const auto goesOn = [&] {
    return state.last - reached < PASS || reached - state.first < wanted.Left() * LOOKUP;
  };
  while (wanted.Left() > 0 && goesOn() && all.Previous(found)) {
    reached = found.begin;
    for (size_t i = found.Size(); i-- > 0;) {
      Piece piece;
      if (wanted.Take(found.Event(i), piece)) {
        if (Fault fault = take(piece, found, i)) {
          return fault;
        }
      }
    }
  }
  if (all.GetFault()) {
    return all.GetFault();
  }
  while (wanted.Left() > 0) {
    Piece piece = wanted.Any();
    const Place at = wanted.PlaceOf(piece);
    filter.region = Region::Element(at);
    filter.fires = !piece.isSwitch;
    filter.switches = piece.isSwitch;
    BatchCursor one(trace, index, filter, progress);
    one.Seek(reached);
    if (!one.Previous(found)) {
      return one.GetFault() ? one.GetFault() : Contradiction(trace, index);
    }
    const size_t last = found.Size() - 1;
    wanted.Take(found.Event(last), piece);
    if (Fault fault = take(piece, found, last)) {
      return fault;
    }
  }
  return {};
}

}  // namespace marrowfin
