#ifndef TOOLS_PROGRAM_RUNINPUT_H
#define TOOLS_PROGRAM_RUNINPUT_H

#include <optional>
#include <string>
#include <vector>

#include "measure/CountGroups.h"
#include "measure/CountPairs.h"
#include "measure/CountRun.h"
#include "measure/PacketCounts.h"
#include "tools/program/FilterFlags.h"
#include "tools/program/Interruption.h"
#include "tools/program/ProgressLine.h"
#include "tools/program/TraceInput.h"
#include "trace/read/Companion.h"

namespace marrowfin {

// What the subcommands share that measure a run.

// The flags that say which run, and which part of it.
struct RunFlags {
  std::string trace;
  FilterFlags filter;
  NoteFlags notes;
  ShapeFlags shape;
  std::string packets = "notes";

  void Declare(CLI::App& app);

  // Without the trace; and without the numbers of records and steps where those say nothing, which
  // are not the same of two runs.
  void DeclareConditions(CLI::App& app, bool numbered);

  // The flags that choose events by their notes, of those that heed them.
  void DeclareNotes(CLI::App& app);

  // The flag of those that tell of packets.
  void DeclarePackets(CLI::App& app);
  MaybeFailure Check() const;

  // Whether all events are asked for.
  bool AskForAll() const;

  // The conditions in words, for captions.
  std::string Chosen() const;
};

// A run that was counted.
struct CountedRun {
  IndexedTrace trace;
  std::optional<Companion> companion;
  RunQuestion question;
  std::optional<RunCounts> counts;
  std::optional<PacketCounts> packets;  // where something tells packets
  std::optional<PairCounts> pairs;      // where it was counted, and something tells pairs
};

// Opens the trace with its index and companion, and chooses the array, which stands in the question
// then. What is not believed of a companion is told on console.err and is no failure.
MaybeFailure OpenRun(const RunFlags& flags, const Console& console, CountedRun& run);

// The same of a trace that is open with its index.
MaybeFailure DescribeRun(const RunFlags& flags, const Console& console, CountedRun& run);

// Chooses the array of a run that was described, anew where its index was built anew.
MaybeFailure ChooseArray(const RunFlags& flags, CountedRun& run);

// Opens and counts.
MaybeFailure CountRunOf(const RunFlags& flags, bool withPackets, const Console& console,
                        CountedRun& run);

// Asks with a line of progress; `ask` takes a callback for it.
template <class Ask>
auto Watched(const RunFlags& flags, const Console& console, const char* unit, Ask ask) {
  const Interruption interruption;
  ProgressLine line(console.terminal, "going through " + flags.trace, unit, 1e6);
  return ask([&](const Progress& now) {
    line.Update(now.done, now.all);
    return !interruption.Asked();
  });
}

// Asks something more of a run that is open: with a line of progress, which counts records, and
// once more where the index turns out damaged.
template <class Ask>
auto AskRun(const RunFlags& flags, const Console& console, CountedRun& run, Ask ask) {
  return AskIndexed(console, run.trace, [&] { return Watched(flags, console, "M records", ask); });
}

// That packets are asked for where nothing tells any.
Fault NothingTellsPackets(const RunFlags& flags);

// Counts what OpenRun or DescribeRun left.
MaybeFailure CountOpened(const RunFlags& flags, bool withPackets, const Console& console,
                         CountedRun& run);

// Counts by group what was counted: by what is asked, or where that is nothing, by all that there
// is, which of a run without notes is nothing.
MaybeFailure GroupCounted(const RunFlags& flags, const std::vector<std::string>& by,
                          const Console& console, CountedRun& run,
                          std::vector<GroupedTraffic>& groups);

// Counts how long messages take to their fires, of what was counted.
MaybeFailure PairCounted(const RunFlags& flags, const Console& console, CountedRun& run);

// That the trace breaks off before all that was asked for: a failure that is told behind the
// answer.
MaybeFailure CheckWhole(const RunFlags& flags, const CountedRun& run);

}  // namespace marrowfin

#endif
