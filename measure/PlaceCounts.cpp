#include "measure/PlaceCounts.h"

namespace marrowfin {
namespace {

// Counts what lies between two fires.
void TakeGap(ElementCounts& element, uint64_t from, uint64_t to) {
  if (to > from && to - from > element.gap) {
    element.gap = to - from;
    element.gapEnd = to;
  }
}

void AddLater(ElementCounts& element, const ElementCounts& later) {
  if (later.fires > 0 && element.fires > 0) {
    TakeGap(element, element.last, later.first);
    element.active -= element.last == later.first ? 1 : 0;
  }
  if (later.gap > element.gap) {
    element.gap = later.gap;
    element.gapEnd = later.gapEnd;
  }
  if (later.fires > 0) {
    element.first = element.fires > 0 ? element.first : later.first;
    element.last = later.last;
  }
  element.fires += later.fires;
  element.sends += later.sends;
  element.receives += later.receives;
  element.active += later.active;
}

}  // namespace

ElementCounts* PlaceCounts::At(Place place) {
  if (!shape.HasElement(place)) {
    ++outside;
    return nullptr;
  }
  return &elements[shape.ElementNumber(place)];
}

void PlaceCounts::AddFire(Place at, uint64_t cycle) {
  ElementCounts* const element = At(at);
  if (element == nullptr) {
    return;
  }
  if (element->fires == 0) {
    element->first = cycle;
    element->active = 1;
  } else if (cycle != element->last) {
    TakeGap(*element, element->last, cycle);
    ++element->active;
  }
  element->last = cycle;
  ++element->fires;
}

void PlaceCounts::Add(const Selection& records) {
  const Columns& columns = *records.columns;
  for (const uint16_t row : records.rows) {
    switch (columns.tag[row].type) {
      case FIRE_RECORD:
        AddFire(columns.at[row], columns.cycle[row]);
        break;
      case SEND_RECORD:
        if (ElementCounts* const from = At(columns.at[row])) {
          ++from->sends;
        }
        if (ElementCounts* const to = At(columns.to[row])) {
          ++to->receives;
        }
        break;
      default:
        if (shape.HasSwitch(columns.at[row])) {
          ++switches[shape.SwitchNumber(columns.at[row])];
        } else {
          ++outside;
        }
    }
  }
}

void PlaceCounts::AddAt(Place place, Activity activity, uint64_t count) {
  if (activity == TRANSMISSIONS) {
    if (shape.HasSwitch(place)) {
      switches[shape.SwitchNumber(place)] += count;
    }
  } else if (shape.HasElement(place)) {
    ElementCounts& element = elements[shape.ElementNumber(place)];
    (activity == FIRES   ? element.fires
     : activity == SENDS ? element.sends
                         : element.receives) += count;
  }
}

void PlaceCounts::CountOutside(uint64_t ends) {
  outside = ends;
  for (const ElementCounts& element : elements) {
    outside -= element.fires + element.sends + element.receives;
  }
  for (const uint64_t transmissions : switches) {
    outside -= transmissions;
  }
}

void PlaceCounts::Add(const PlaceCounts& later) {
  for (size_t i = 0; i < elements.size(); ++i) {
    AddLater(elements[i], later.elements[i]);
  }
  for (size_t i = 0; i < switches.size(); ++i) {
    switches[i] += later.switches[i];
  }
  outside += later.outside;
}

}  // namespace marrowfin
