#ifndef CONVERT_EXPORT_TRACKS_H
#define CONVERT_EXPORT_TRACKS_H

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "convert/export/EventLines.h"
#include "trace/base/ArrayShape.h"
#include "trace/base/Place.h"

namespace marrowfin {

// The lines of a timeline: one for each element and each switch of an array, and one for all that
// is elsewhere, such as far ends of messages. Threads: one at a time.
class Tracks {
 public:
  static constexpr size_t ELSEWHERE = 0;

  // The array of `naming`, which outlives this, must be known.
  explicit Tracks(const EventNaming& naming);

  const ArrayShape& Shape() const { return shape; }
  size_t Count() const { return 1 + shape.Elements() + shape.Switches(); }

  // The number of the line of an element or of a switch where records have it.
  size_t OfElement(Place at) const {
    return shape.HasElement(at) ? 1 + shape.ElementNumber(at) : ELSEWHERE;
  }
  size_t OfSwitch(Place at) const {
    return shape.HasSwitch(at) ? 1 + shape.Elements() + shape.SwitchNumber(at) : ELSEWHERE;
  }

  bool IsElement(size_t track) const { return track != ELSEWHERE && track <= shape.Elements(); }
  bool IsSwitch(size_t track) const { return track > shape.Elements(); }
  Place ElementOf(size_t track) const { return shape.ElementAt(track - 1); }

  // The number of the cluster of a line, row by row; nothing for ELSEWHERE.
  std::optional<size_t> ClusterOf(size_t track) const;

  // The same of the domain of an element, over the whole array.
  size_t DomainOf(size_t track) const;
  size_t Domains() const;
  size_t ClusterOfDomain(size_t domain) const;

  // True for the first question about a line, a cluster or a domain: each has to be described once.
  bool IsNew(size_t track) { return Mark(tracks, track); }
  bool IsNewCluster(size_t cluster) { return Mark(clusters, cluster); }
  bool IsNewDomain(size_t domain) { return Mark(domains, domain); }

  // "PE 3 2 (what the run called it)", "switch", "elsewhere"; "cluster 1 0"; "domain 2 1". Numbers
  // are columns and rows over the whole array.
  std::string NameOf(size_t track) const;
  std::string NameOfCluster(size_t cluster) const;
  std::string NameOfDomain(size_t domain) const;

 private:
  static bool Mark(std::vector<bool>& marks, size_t number) {
    const bool isNew = !marks[number];
    marks[number] = true;
    return isNew;
  }

  const EventNaming& naming;
  const ArrayShape shape;
  std::vector<bool> tracks;
  std::vector<bool> clusters;
  std::vector<bool> domains;
};

}  // namespace marrowfin

#endif
