#ifndef MEASURE_LINKCOUNTS_H
#define MEASURE_LINKCOUNTS_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "trace/base/ArrayShape.h"
#include "trace/base/Place.h"

namespace marrowfin {

// Which way a link leads from its node: columns grow to the right, rows upwards.
enum class Heading { RIGHT, LEFT, UP, DOWN };
constexpr size_t HEADINGS = 4;

// "right", "left", "up", "down".
const char* HeadingName(Heading heading);

// A mesh of nodes, each joined to its neighbours by one link each way, and how messages find their
// way in it: dimension by dimension, along the shorter way where links join the edges (to the
// right, and upwards, where both are as long).
struct Mesh {
  PerAxis nodes;
  bool wrapColumns = false;  // whether links join the last column to the first
  bool wrapRows = false;
  bool columnFirst = false;  // along the column before the row

  bool Has(Place node) const { return node.column < nodes.columns && node.row < nodes.rows; }
  size_t Number(Place node) const {
    return static_cast<size_t>(node.row) * nodes.columns + node.column;
  }

  // Whether a link leads from the node that way, and how many there are.
  bool HasLink(Place node, Heading heading) const;
  uint64_t Links() const;

  // Links that a message takes from one node to another.
  uint64_t Distance(Place from, Place to) const;
};

// How many messages went over each link and through each node of a mesh.
struct LinkLoads {
  Mesh mesh;
  std::array<std::vector<uint64_t>, HEADINGS> messages;  // by the node that a link leaves
  std::vector<uint64_t> passes;                          // of each node, its own ends included

  uint64_t Of(Place node, Heading heading) const {
    return messages[static_cast<size_t>(heading)][mesh.Number(node)];
  }
};

// The busier of the two cuts through the middle of a mesh.
struct Bisection {
  bool ofColumns = false;  // whether it parts left from right
  uint64_t messages = 0;   // over it, both ways
  uint64_t links = 0;      // that it cuts, both ways
};

Bisection BisectionOf(const LinkLoads& loads);

// Counts messages. Each takes a few steps, whatever its way: what is kept are the changes of the
// load from one link of a line to the next.
class LinkCounts {
 public:
  explicit LinkCounts(const Mesh& mesh);

  // A message between two nodes of the mesh.
  void Add(Place from, Place to) { Add(from, to, 1); }

  // The same, but one that stays at its node passes that `passes` times. No step depends on where a
  // message goes: to foresee that wrongly takes a processor longer than to count.
  void Add(Place from, Place to, uint64_t passes) {
    sources[mesh.Number(from)] += passes;
    const Place corner = mesh.columnFirst ? Place{from.column, to.row} : Place{to.column, from.row};
    if (mesh.wrapColumns || mesh.wrapRows) {
      AddAround(from, to, corner);
      return;
    }
    AddDirect(from.column, to.column, mesh.nodes.columns, mesh.columnFirst ? to.row : from.row,
              Heading::RIGHT, Heading::LEFT);
    AddDirect(from.row, to.row, mesh.nodes.rows, corner.column, Heading::UP, Heading::DOWN);
  }
  void Add(const LinkCounts& other);

  // Shows all that was counted, see CountsBytes.
  template <class Visitor>
  void Visit(Visitor& visitor) {
    for (Changes& heading : changes) {
      visitor.Changes(heading);
    }
    visitor.Records(sources);
  }

  const Mesh& GetMesh() const { return mesh; }
  LinkLoads Get() const;

 private:
  typedef std::vector<int64_t> Changes;

  void AddAround(Place from, Place to, Place corner);
  void AddAlongRow(Place from, uint32_t toColumn);
  void AddAlongColumn(Place from, uint32_t toRow);

  // Along one axis, on a line of `nodes` nodes that no link closes.
  void AddDirect(uint32_t from, uint32_t to, uint32_t nodes, uint32_t line, Heading up,
                 Heading down) {
    const bool forward = to >= from;
    int64_t* const change = changes[static_cast<size_t>(forward ? up : down)].data() +
                            static_cast<size_t>(line) * (nodes + 1);
    ++change[forward ? from : to + 1];
    --change[forward ? to : from + 1];
  }

  Mesh mesh;
  std::array<Changes, HEADINGS> changes;  // by line, one more than it has nodes
  std::vector<uint64_t> sources;          // messages that began at each node
};

}  // namespace marrowfin

#endif
