#ifndef EXPLORER_CORE_KNOWNPIECES_H
#define EXPLORER_CORE_KNOWNPIECES_H

#include <cstdint>
#include <vector>

#include "explorer/core/AskedPiece.h"
#include "explorer/core/FoundOnce.h"
#include "trace/base/ArrayShape.h"
#include "trace/base/Place.h"

namespace marrowfin {

// Sums of what some elements and switches did.
struct PieceTotals {
  double fires = 0;
  double sends = 0;
  double receives = 0;
  double transmissions = 0;
};

// With whom a piece exchanges messages.
struct PieceNeighbour {
  bool isReceiver = false;
  Place at;
  uint64_t messages = 0;
};

// What a piece does in the whole run, whatever the moment.
struct PieceInRun {
  PieceTotals totals;
  PieceTotals average;                     // of all pieces of the kind; of links none
  std::vector<PieceNeighbour> neighbours;  // those of most messages first
};

struct PieceOfArray {
  AskedPiece piece;
  ArrayShape shape;

  friend bool operator==(const PieceOfArray&, const PieceOfArray&) = default;
};

// What was asked about pieces last: a panel that shows one asks again at each moment, and all but
// what it does then stays.
class KnownPieces : public FoundOnce<PieceOfArray, PieceInRun> {
 public:
  KnownPieces() : FoundOnce(64, 4) {}
};

}  // namespace marrowfin

#endif
