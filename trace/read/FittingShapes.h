#ifndef TRACE_READ_FITTINGSHAPES_H
#define TRACE_READ_FITTINGSHAPES_H

#include <optional>
#include <vector>

#include "trace/base/ArrayShape.h"
#include "trace/read/Summary.h"

namespace marrowfin {

// Arrays that hold all that fired and every switch that transmitted in a trace, which does not tell
// its array.
//
// Ends of messages may be anywhere and do not count; but where nothing fired or transmitted, they
// are all that there is. Clusters are as large as the distances of the switches allow, and as few
// as will do; without a switch there is one, of one domain: a flat mesh needs no more, and no
// element is there that the extent does not call for. With switches, clusters are split into four
// domains where that goes, as a viewer shows by default. Threads: a value, which one thread writes
// or any number read.
struct FittingShapes {
  // Alike along both axes, for a viewer; nothing where no array that it can show will do: switches
  // at places that fit no grid, or a side above ArrayShape::LONGEST_SIDE.
  std::optional<ArrayShape> view;

  // Others that a viewer can show: all that hold as much in no more elements, for each side of a
  // cluster with the fewest clusters, split into domains in every way. The largest clusters first,
  // and of those the largest domains.
  std::vector<ArrayShape> others;

  // With columns and rows of their own and clusters like those of `view`, where that takes fewer
  // elements. No viewer shows it.
  std::optional<ArrayShape> rectangle;

  // Where ends of messages lie outside `view`: the one that holds them too, if there is one.
  bool endsOutside = false;
  std::optional<ArrayShape> withEnds;
};

FittingShapes ShapesThatFit(const Summary& summary);

// What a viewer can show of an array that was told: itself, or the square that it fills up to where
// only its outermost level has other columns than rows, so that everything stays where it is.
// Nothing where that is not so, or the square is too large.
std::optional<ArrayShape> SquareOf(const ArrayShape& array);

// Whether an array holds all that fired and every switch that transmitted.
bool HoldsTrace(const ArrayShape& shape, const Summary& summary);

// Only FittingShapes::view.
std::optional<ArrayShape> SuggestShape(const Summary& summary);

}  // namespace marrowfin

#endif
