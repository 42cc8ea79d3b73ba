#include "render/report/LinkTable.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "measure/NumberText.h"

namespace marrowfin {
namespace {

Place Next(const Mesh& mesh, Place node, Heading heading) {
  const uint32_t columns = mesh.nodes.columns;
  const uint32_t rows = mesh.nodes.rows;
  switch (heading) {
    case Heading::RIGHT:
      return {(node.column + 1) % columns, node.row};
    case Heading::LEFT:
      return {(node.column + columns - 1) % columns, node.row};
    case Heading::UP:
      return {node.column, (node.row + 1) % rows};
    case Heading::DOWN:
      break;
  }
  return {node.column, (node.row + rows - 1) % rows};
}

struct MeshLink {
  Place node;
  Heading heading;
  uint64_t messages;
};

// All of them, row by row of the nodes that they leave.
std::vector<MeshLink> LinksOfMesh(const LinkLoads& loads) {
  std::vector<MeshLink> links;
  for (uint32_t row = 0; row < loads.mesh.nodes.rows; ++row) {
    for (uint32_t column = 0; column < loads.mesh.nodes.columns; ++column) {
      for (size_t i = 0; i < HEADINGS; ++i) {
        const Heading heading = static_cast<Heading>(i);
        if (loads.mesh.HasLink({column, row}, heading)) {
          links.push_back({{column, row}, heading, loads.Of({column, row}, heading)});
        }
      }
    }
  }
  return links;
}

}  // namespace

std::string LinkName(const LinkMeasures& links, Place node, Heading heading) {
  const Place to = Next(links.loads.mesh, node, heading);
  return std::string(links.level == Level::CLUSTER ? "cluster " : "") +
         PlaceText(node.column, node.row) + "→" + PlaceText(to.column, to.row);
}

ReportTable LinkTable(const LinkMeasures& links, const std::string& file) {
  ReportTable table;
  table.name = "table-links";
  table.caption = "Busiest links";
  table.columns = {{"Link"}, {"Messages", true}, {"Load", true}, {"× mean", true}};
  table.others = "marrowfin-trace stats " + file + " --csv links";
  std::vector<MeshLink> sorted = LinksOfMesh(links.loads);
  // Links of equal load keep their order: lower row, then column.
  std::stable_sort(sorted.begin(), sorted.end(),
                   [](const MeshLink& a, const MeshLink& b) { return a.messages > b.messages; });
  table.all = sorted.size();
  sorted.resize(std::min(sorted.size(), ReportTable::MOST_ROWS));
  const double busiest = links.busiest.empty() ? 0 : links.busiest[0].load;
  const double most = links.busiest.empty() ? 1 : static_cast<double>(links.busiest[0].messages);
  for (const MeshLink& link : sorted) {
    const double load = busiest * static_cast<double>(link.messages) / most;
    table.rows.push_back({LinkName(links, link.node, link.heading), CountText(link.messages),
                          PercentText(load),
                          links.mean > 0 ? ThreeDigits(load / links.mean) : "–"});
  }
  return table;
}

}  // namespace marrowfin
