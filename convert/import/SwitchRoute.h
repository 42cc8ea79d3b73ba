#ifndef CONVERT_IMPORT_SWITCHROUTE_H
#define CONVERT_IMPORT_SWITCHROUTE_H

#include "trace/base/ArrayShape.h"
#include "trace/base/Place.h"

namespace marrowfin {

// Which switches pass a message on where routes go along columns first and then along rows: none
// within a domain, else that of every cluster from the sender's to the receiver's, both included.
// Threads: a value, which one thread writes or any number read.
class SwitchRoute {
 public:
  explicit SwitchRoute(const ArrayShape& shape) : shape(shape) {}

  // Calls `take(at)` for each switch in order of the way, with where records have it. False where
  // an end of the message is not on the array.
  template <class Take>
  bool ForEach(Place from, Place to, Take take) const {
    if (!shape.HasElement(from) || !shape.HasElement(to)) {
      return false;
    }
    if (shape.DomainOf(from) == shape.DomainOf(to)) {
      return true;
    }
    const Place end = shape.ClusterOf(to);
    Place cluster = shape.ClusterOf(from);
    take(shape.SwitchOf(cluster));
    while (cluster.column != end.column) {
      cluster.column = cluster.column < end.column ? cluster.column + 1 : cluster.column - 1;
      take(shape.SwitchOf(cluster));
    }
    while (cluster.row != end.row) {
      cluster.row = cluster.row < end.row ? cluster.row + 1 : cluster.row - 1;
      take(shape.SwitchOf(cluster));
    }
    return true;
  }

 private:
  ArrayShape shape;
};

}  // namespace marrowfin

#endif
