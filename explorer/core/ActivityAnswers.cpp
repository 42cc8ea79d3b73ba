// What a trace does over time.

#include <algorithm>

#include "explorer/core/Answers.h"
#include "explorer/core/AskedKinds.h"
#include "trace/ask/ActivityOverTime.h"
#include "trace/ask/NotesOverTime.h"
#include "trace/ask/TimeBins.h"

namespace marrowfin {
namespace {

// Finer bins, out of which the worst of each asked bin is taken. A time table has no more cells.
constexpr size_t FINER = 16;
constexpr size_t MOST_FINE = 16384;

enum class By { TYPE, THREAD, KIND };

// Counts of slots (threads or kinds) and types in bins, whoever told them.
struct SlotBins {
  std::vector<uint64_t> firsts;
  uint64_t last = 0;
  size_t slots = 0;
  std::vector<uint64_t> counts;  // slot by slot, of each type by type

  size_t Bins() const { return firsts.size(); }
  uint64_t Of(size_t slot, size_t type, size_t bin) const {
    return counts[(slot * RECORD_TYPES + type) * Bins() + bin];
  }
  uint64_t OfType(size_t type, size_t bin) const {
    uint64_t sum = 0;
    for (size_t slot = 0; slot < slots; ++slot) {
      sum += Of(slot, type, bin);
    }
    return sum;
  }

  // Cycles of a bin, as a number to divide by.
  double Width(size_t bin) const {
    const double end = bin + 1 < Bins() ? static_cast<double>(firsts[bin + 1] - firsts[bin])
                                        : static_cast<double>(last - firsts[bin]) + 1;
    return end;
  }
};

// All slots as one.
SlotBins Joined(const SlotBins& bins) {
  SlotBins joined = {bins.firsts, bins.last, 1, {}};
  for (size_t type = 0; type < RECORD_TYPES; ++type) {
    for (size_t bin = 0; bin < bins.Bins(); ++bin) {
      joined.counts.push_back(bins.OfType(type, bin));
    }
  }
  return joined;
}

ActivityQuestion QuestionOf(const AskedCycles& cycles, size_t bins) {
  return {cycles.first, cycles.last, bins, ActivityQuestion::QUICK};
}

// Whether the bins are those that were asked for: the index may know whole cells of cycles alone.
bool AreAsAsked(const SlotBins& bins, const AskedCycles& cycles, size_t asked) {
  const std::vector<CycleEdge> edges = EqualBins(cycles.first, cycles.last, asked);
  return bins.Bins() + 1 == edges.size() &&
         std::equal(bins.firsts.begin(), bins.firsts.end(), edges.begin()) &&
         CycleEdge{bins.last} + 1 == edges.back();
}

void PutBins(const SlotBins& bins, const AskedCycles& cycles, size_t asked, AnswerBytes& answer) {
  JsonText& head = answer.Head();
  head.Key("types").Array().Text("switch").Text("fire").Text("send").End();
  head.Key("last").Wide(bins.last);
  head.Key("exact").Flag(AreAsAsked(bins, cycles, asked));
  answer.Column("first", bins.firsts);
  answer.Column("count", std::vector<double>(bins.counts.begin(), bins.counts.end()));
}

// The most events a cycle of each asked bin, as far as finer bins tell, and over how many cycles
// the coarsest of those is a mean.
void PutWorst(const SlotBins& bins, const SlotBins& fine, AnswerBytes& answer) {
  std::vector<double> worst(RECORD_TYPES * bins.Bins());
  std::vector<double> cycles(bins.Bins());
  size_t bin = 0;
  for (size_t i = 0; i < fine.Bins() && bins.Bins() > 0; ++i) {
    while (bin + 1 < bins.Bins() && fine.firsts[i] >= bins.firsts[bin + 1]) {
      ++bin;
    }
    const double width = fine.Width(i);
    if (width <= 0) {
      continue;
    }
    cycles[bin] = std::max(cycles[bin], width);
    for (size_t type = 0; type < RECORD_TYPES; ++type) {
      double& most = worst[type * bins.Bins() + bin];
      most = std::max(most, static_cast<double>(fine.OfType(type, i)) / width);
    }
  }
  answer.Column("worst", worst);
  answer.Column("worstCycles", cycles);
}

Result<SlotBins> CountByThread(const Asking& asking, const ActivityQuestion& question) {
  Result<ActivityBins> bins =
      ActivityOverTime(asking.Trace(), asking.index, question, asking.progress);
  if (!bins) {
    return bins.Why();
  }
  return SlotBins{std::move(bins->firsts), bins->last, bins->threads.size() + 1,
                  std::move(bins->counts)};
}

void PutThreads(const std::vector<uint32_t>& threads, JsonText& head) {
  head.Key("threads").Array();
  for (const uint32_t thread : threads) {
    head.Number(thread);
  }
  head.End();
}

MaybeRefusal AnswerByKind(const Asking& asking, const AskedCycles& cycles, size_t asked, bool worst,
                          AnswerBytes& answer) {
  const AskedKinds kinds = BorrowKinds(asking);
  if (kinds.refusal) {
    return kinds.refusal;
  }
  const auto count = [&](size_t bins) {
    return NotesOverTime(asking.Trace(), asking.index, kinds.Notes(), kinds.Index(),
                         kinds.attribute, QuestionOf(cycles, bins), asking.progress);
  };
  Result<NoteBins> counted = count(asked);
  if (!counted) {
    return RefusalOf(counted.Why());
  }
  PutKindNames(kinds, counted->values, answer.Head());
  const SlotBins bins = {counted->firsts, counted->last, counted->Slots(), counted->counts};
  PutBins(bins, cycles, asked, answer);
  if (worst) {
    Result<NoteBins> fine = count(std::min(asked * FINER, std::max(asked, MOST_FINE)));
    if (!fine) {
      return RefusalOf(fine.Why());
    }
    PutWorst(bins, {fine->firsts, fine->last, fine->Slots(), fine->counts}, answer);
  }
  return std::nullopt;
}

MaybeRefusal AnswerByThread(const Asking& asking, const AskedCycles& cycles, size_t asked, By by,
                            bool worst, AnswerBytes& answer) {
  Result<ActivityBins> counted =
      ActivityOverTime(asking.Trace(), asking.index, QuestionOf(cycles, asked), asking.progress);
  if (!counted) {
    return RefusalOf(counted.Why());
  }
  SlotBins bins = {counted->firsts, counted->last, counted->threads.size() + 1, counted->counts};
  if (by == By::THREAD) {
    PutThreads(counted->threads, answer.Head());
  } else {
    bins = Joined(bins);
  }
  PutBins(bins, cycles, asked, answer);
  if (worst) {
    const Result<SlotBins> fine = CountByThread(
        asking, QuestionOf(cycles, std::min(asked * FINER, std::max(asked, MOST_FINE))));
    if (!fine) {
      return RefusalOf(fine.Why());
    }
    PutWorst(bins, *fine, answer);
  }
  return std::nullopt;
}

By TakeBy(Members& members) {
  const std::string by = members.Text("by", "type");
  if (by != "type" && by != "thread" && by != "kind") {
    members.Refuse("`by` is none of \"type\", \"thread\" and \"kind\"");
  }
  return by == "thread" ? By::THREAD : by == "kind" ? By::KIND : By::TYPE;
}

}  // namespace

MaybeRefusal AnswerActivity(Asking& asking, AnswerBytes& answer) {
  const AskedCycles cycles = TakeCycles(asking.members);
  const size_t bins = TakeBins(asking.members);
  const By by = TakeBy(asking.members);
  const bool worst = asking.members.Flag("worst");
  if (MaybeRefusal refusal = asking.Check()) {
    return refusal;
  }
  return by == By::KIND ? AnswerByKind(asking, cycles, bins, worst, answer)
                        : AnswerByThread(asking, cycles, bins, by, worst, answer);
}

}  // namespace marrowfin
