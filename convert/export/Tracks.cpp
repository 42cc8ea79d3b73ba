#include "convert/export/Tracks.h"

#include "convert/export/EventWords.h"

namespace marrowfin {
namespace {

std::string Numbered(const char* what, Place at) {
  std::string name = what;
  name += ' ';
  AppendPlace(at, " ", name);
  return name;
}

size_t DomainColumns(const ArrayShape& shape) {
  return size_t{shape.clusters.columns} * shape.domains.columns;
}

Place PlaceOf(size_t number, size_t columns) {
  return {static_cast<uint32_t>(number % columns), static_cast<uint32_t>(number / columns)};
}

}  // namespace

Tracks::Tracks(const EventNaming& naming)
    : naming(naming),
      shape(*naming.shape),
      tracks(Count()),
      clusters(shape.Switches()),
      domains(Domains()) {}

size_t Tracks::Domains() const {
  return DomainColumns(shape) * shape.clusters.rows * shape.domains.rows;
}

std::optional<size_t> Tracks::ClusterOf(size_t track) const {
  if (track == ELSEWHERE) {
    return std::nullopt;
  }
  if (IsSwitch(track)) {
    return track - 1 - shape.Elements();
  }
  const Place cluster = shape.ClusterOf(ElementOf(track));
  return size_t{cluster.row} * shape.clusters.columns + cluster.column;
}

size_t Tracks::DomainOf(size_t track) const {
  const Place domain = shape.DomainOf(ElementOf(track));
  return domain.row * DomainColumns(shape) + domain.column;
}

size_t Tracks::ClusterOfDomain(size_t domain) const {
  const Place at = PlaceOf(domain, DomainColumns(shape));
  return size_t{at.row / shape.domains.rows} * shape.clusters.columns +
         at.column / shape.domains.columns;
}

std::string Tracks::NameOf(size_t track) const {
  if (track == ELSEWHERE) {
    return "elsewhere";
  }
  if (IsSwitch(track)) {
    return "switch";
  }
  std::string name = Numbered("PE", ElementOf(track));
  if (const std::string* const called = NameOfPlace(naming, ElementOf(track))) {
    name += " (" + OnOneLine(*called) + ")";
  }
  return name;
}

std::string Tracks::NameOfCluster(size_t cluster) const {
  return Numbered("cluster", PlaceOf(cluster, shape.clusters.columns));
}

std::string Tracks::NameOfDomain(size_t domain) const {
  return Numbered("domain", PlaceOf(domain, DomainColumns(shape)));
}

}  // namespace marrowfin
