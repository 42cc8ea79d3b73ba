#ifndef TOOLS_PROGRAM_DIFFANSWER_H
#define TOOLS_PROGRAM_DIFFANSWER_H

#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <vector>

#include "measure/GroupDiff.h"
#include "measure/PhasePairs.h"
#include "measure/RunAlignment.h"
#include "measure/RunDiff.h"
#include "tools/program/RunInput.h"

namespace marrowfin {

// One of the two runs of a difference.
struct DiffedRun {
  std::string trace;
  std::optional<CycleRange> cycles;  // of all records; nothing where there are none
  const CountedRun* run = nullptr;

  // Where the run was measured.
  std::optional<RunMeasures> measures;

  // Only of such a run.
  MeasuredRun Measured() const {
    return {*run->counts, *measures, run->packets ? &*run->packets : nullptr,
            run->pairs ? &*run->pairs : nullptr};
  }
};

// What `diff` tells of two runs.
struct DiffAnswer {
  DiffedRun a;
  DiffedRun b;
  Alignment alignment = Alignment::CYCLE;
  bool ordered = false;
  RunAlignment aligned;
  std::vector<PhasePair> phases;       // where both runs were measured
  std::vector<GroupedChanges> groups;  // likewise

  bool IsMeasured() const { return a.measures && b.measures; }
};

// Sentences and tables for people.
std::string DiffText(const DiffAnswer& answer);

// The same and more for machines; numbers are not rounded.
nlohmann::json DiffJson(const DiffAnswer& answer);

// One line for each measure, unit of the array, link, pair of clusters, measure of a group, phase,
// or element with its slip; with a line of names before. Measured runs alone; SLIPS of an alignment
// by fire.
enum class DiffTable {
  MEASURES,
  ELEMENTS,
  DOMAINS,
  CLUSTERS,
  LINKS,
  TRAFFIC,
  GROUPS,
  PHASES,
  SLIPS
};
std::string DiffCsv(const DiffAnswer& answer, DiffTable table);

}  // namespace marrowfin

#endif
