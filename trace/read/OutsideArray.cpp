#include "trace/read/OutsideArray.h"

#include "trace/base/Record.h"

namespace marrowfin {

namespace {

// Whether an array of such clusters has a switch there, if it only has enough of them.
bool IsSwitchPlace(const ArrayShape& shape, Place place) {
  return place.column >= FIRST_SWITCH && place.row >= FIRST_SWITCH &&
         shape.SwitchOf(shape.ClusterOfSwitch(place)) == place;
}

}  // namespace

std::string PlaceText(Place place) {
  return "column " + std::to_string(place.column) + ", row " + std::to_string(place.row);
}

std::string OutsideArrayText(const ArrayShape& shape, uint32_t type, Place place) {
  if (type != SWITCH_RECORD) {
    return PlaceText(place) + " is no processing element of the array";
  }
  std::string text = PlaceText(place) + " is no switch of the array";
  if (IsSwitchPlace(shape, place)) {
    const Place cluster = shape.ClusterOfSwitch(place);
    text += ", as that of cluster " + std::to_string(cluster.column) + " " +
            std::to_string(cluster.row) + " would be";
  }
  return text;
}

}  // namespace marrowfin
