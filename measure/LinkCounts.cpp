#include "measure/LinkCounts.h"

#include <algorithm>

namespace marrowfin {
namespace {

// The way along one axis: how many links, and whether towards higher numbers.
struct Way {
  uint32_t links;
  bool forward;
};

Way WayAlong(uint32_t from, uint32_t to, uint32_t nodes, bool wraps) {
  const Way direct = to >= from ? Way{to - from, true} : Way{from - to, false};
  if (!wraps) {
    return direct;
  }
  const Way around = {nodes - direct.links, !direct.forward};
  if (around.links == direct.links) {
    return {direct.links, true};
  }
  return around.links < direct.links ? around : direct;
}

// Marks the links that leave `count` nodes of a line from node `first` on, around its end.
void AddRun(int64_t* line, uint32_t nodes, uint32_t first, uint32_t count) {
  ++line[first];
  if (first + count <= nodes) {
    --line[first + count];
    return;
  }
  --line[nodes];
  ++line[0];
  --line[first + count - nodes];
}

// Marks the way from a node of a line; `forward` and `backward` are the line's changes each way.
void AddWay(Way way, uint32_t from, uint32_t nodes, int64_t* forward, int64_t* backward) {
  if (way.links == 0) {
    return;
  }
  if (way.forward) {
    AddRun(forward, nodes, from, way.links);
  } else {
    AddRun(backward, nodes, (from + nodes + 1 - way.links) % nodes, way.links);
  }
}

constexpr size_t Index(Heading heading) { return static_cast<size_t>(heading); }

}  // namespace

const char* HeadingName(Heading heading) {
  constexpr const char* names[HEADINGS] = {"right", "left", "up", "down"};
  return names[Index(heading)];
}

bool Mesh::HasLink(Place node, Heading heading) const {
  switch (heading) {
    case Heading::RIGHT:
      return node.column + 1 < nodes.columns || (wrapColumns && nodes.columns > 1);
    case Heading::LEFT:
      return node.column > 0 || (wrapColumns && nodes.columns > 1);
    case Heading::UP:
      return node.row + 1 < nodes.rows || (wrapRows && nodes.rows > 1);
    case Heading::DOWN:
      break;
  }
  return node.row > 0 || (wrapRows && nodes.rows > 1);
}

uint64_t Mesh::Links() const {
  const auto line = [](uint64_t length, bool wraps) {
    return length > 1 ? 2 * (wraps ? length : length - 1) : 0;
  };
  return line(nodes.columns, wrapColumns) * nodes.rows + line(nodes.rows, wrapRows) * nodes.columns;
}

uint64_t Mesh::Distance(Place from, Place to) const {
  return uint64_t{WayAlong(from.column, to.column, nodes.columns, wrapColumns).links} +
         WayAlong(from.row, to.row, nodes.rows, wrapRows).links;
}

LinkCounts::LinkCounts(const Mesh& mesh)
    : mesh(mesh), sources(static_cast<size_t>(mesh.nodes.columns) * mesh.nodes.rows) {
  const size_t rowLine = static_cast<size_t>(mesh.nodes.columns) + 1;
  const size_t columnLine = static_cast<size_t>(mesh.nodes.rows) + 1;
  changes[Index(Heading::RIGHT)].resize(rowLine * mesh.nodes.rows);
  changes[Index(Heading::LEFT)].resize(rowLine * mesh.nodes.rows);
  changes[Index(Heading::UP)].resize(columnLine * mesh.nodes.columns);
  changes[Index(Heading::DOWN)].resize(columnLine * mesh.nodes.columns);
}

void LinkCounts::AddAlongRow(Place from, uint32_t toColumn) {
  const uint32_t nodes = mesh.nodes.columns;
  const size_t line = static_cast<size_t>(from.row) * (nodes + 1);
  AddWay(WayAlong(from.column, toColumn, nodes, mesh.wrapColumns), from.column, nodes,
         &changes[Index(Heading::RIGHT)][line], &changes[Index(Heading::LEFT)][line]);
}

void LinkCounts::AddAlongColumn(Place from, uint32_t toRow) {
  const uint32_t nodes = mesh.nodes.rows;
  const size_t line = static_cast<size_t>(from.column) * (nodes + 1);
  AddWay(WayAlong(from.row, toRow, nodes, mesh.wrapRows), from.row, nodes,
         &changes[Index(Heading::UP)][line], &changes[Index(Heading::DOWN)][line]);
}

void LinkCounts::AddAround(Place from, Place to, Place corner) {
  if (mesh.columnFirst) {
    AddAlongColumn(from, to.row);
    AddAlongRow(corner, to.column);
  } else {
    AddAlongRow(from, to.column);
    AddAlongColumn(corner, to.row);
  }
}

void LinkCounts::Add(const LinkCounts& other) {
  for (size_t heading = 0; heading < HEADINGS; ++heading) {
    for (size_t i = 0; i < changes[heading].size(); ++i) {
      changes[heading][i] += other.changes[heading][i];
    }
  }
  for (size_t i = 0; i < sources.size(); ++i) {
    sources[i] += other.sources[i];
  }
}

LinkLoads LinkCounts::Get() const {
  LinkLoads loads;
  loads.mesh = mesh;
  loads.passes = sources;
  const auto sumUp = [&](Heading heading, bool alongRow) {
    std::vector<uint64_t>& messages = loads.messages[Index(heading)];
    messages.resize(sources.size());
    const uint32_t lines = alongRow ? mesh.nodes.rows : mesh.nodes.columns;
    const uint32_t nodes = alongRow ? mesh.nodes.columns : mesh.nodes.rows;
    const uint32_t step = heading == Heading::RIGHT || heading == Heading::UP ? 1 : nodes - 1;
    const int64_t* change = changes[Index(heading)].data();
    for (uint32_t line = 0; line < lines; ++line, ++change) {
      int64_t load = 0;
      for (uint32_t node = 0; node < nodes; ++node, ++change) {
        load += *change;
        const uint32_t next = (node + step) % nodes;
        const Place at = alongRow ? Place{node, line} : Place{line, node};
        const Place behind = alongRow ? Place{next, line} : Place{line, next};
        messages[mesh.Number(at)] = static_cast<uint64_t>(load);
        loads.passes[mesh.Number(behind)] += static_cast<uint64_t>(load);
      }
    }
  };
  sumUp(Heading::RIGHT, true);
  sumUp(Heading::LEFT, true);
  sumUp(Heading::UP, false);
  sumUp(Heading::DOWN, false);
  return loads;
}

namespace {

// The cut between the lower and the upper half of the nodes along one axis.
Bisection Cut(const LinkLoads& loads, bool ofColumns) {
  const Mesh& mesh = loads.mesh;
  const uint32_t along = ofColumns ? mesh.nodes.columns : mesh.nodes.rows;
  const uint32_t across = ofColumns ? mesh.nodes.rows : mesh.nodes.columns;
  const bool wraps = ofColumns ? mesh.wrapColumns : mesh.wrapRows;
  Bisection cut = {ofColumns, 0, 0};
  if (along < 2) {
    return cut;
  }
  const Heading up = ofColumns ? Heading::RIGHT : Heading::UP;
  const Heading down = ofColumns ? Heading::LEFT : Heading::DOWN;
  const auto at = [&](uint32_t node, uint32_t line) {
    return ofColumns ? Place{node, line} : Place{line, node};
  };
  for (uint32_t line = 0; line < across; ++line) {
    cut.messages += loads.Of(at(along / 2 - 1, line), up) + loads.Of(at(along / 2, line), down);
    cut.messages += wraps ? loads.Of(at(along - 1, line), up) + loads.Of(at(0, line), down) : 0;
    cut.links += wraps ? 4 : 2;
  }
  return cut;
}

}  // namespace

Bisection BisectionOf(const LinkLoads& loads) {
  const Bisection ofColumns = Cut(loads, true);
  const Bisection ofRows = Cut(loads, false);
  // Per link, since the sides of an array may differ; shares of no links are none.
  const bool rows =
      ofColumns.links == 0 ||
      (ofRows.links != 0 && ofRows.messages * ofColumns.links > ofColumns.messages * ofRows.links);
  return rows ? ofRows : ofColumns;
}

}  // namespace marrowfin
