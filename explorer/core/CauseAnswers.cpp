// What led to an event, what followed from it, and the way of a packet.

#include <algorithm>
#include <memory>
#include <utility>

#include "explorer/core/Answers.h"
#include "explorer/core/FoundCauses.h"
#include "measure/CausalChain.h"
#include "measure/CausalCone.h"
#include "measure/PacketHistory.h"

namespace marrowfin {
namespace {

constexpr uint64_t MOST_STEPS = 20000;

enum class Direction { CHAIN, BACK, FORWARD, CRITICAL };

Direction TakeDirection(Members& members) {
  const std::string name = members.Text("direction");
  const std::pair<const char*, Direction> all[] = {{"chain", Direction::CHAIN},
                                                   {"back", Direction::BACK},
                                                   {"forward", Direction::FORWARD},
                                                   {"critical", Direction::CRITICAL}};
  for (const auto& [word, direction] : all) {
    if (name == word) {
      return direction;
    }
  }
  members.Refuse("`direction` is none of \"chain\", \"back\", \"forward\" and \"critical\"");
  return Direction::CHAIN;
}

// Events one behind the other, and how each came about.
class CauseColumns {
 public:
  void Add(const TraceEvent& event, Evidence evidence, const TimeSplit& since) {
    records.push_back(static_cast<double>(event.record));
    cycles.push_back(event.cycle);
    types.push_back(static_cast<uint8_t>(event.type));
    threads.push_back(event.thread);
    at.push_back(event.at);
    to.push_back(event.to);
    evidences.push_back(static_cast<uint8_t>(evidence));
    work.push_back(static_cast<double>(since.work));
    travel.push_back(static_cast<double>(since.travel));
    wait.push_back(static_cast<double>(since.wait));
  }

  void Put(AnswerBytes& answer) const {
    answer.Column("record", records);
    answer.Column("cycle", cycles);
    answer.Column("type", types);
    answer.Column("thread", threads);
    answer.Column("at", at);
    answer.Column("to", to);
    answer.Column("evidence", evidences);
    answer.Column("work", work);
    answer.Column("travel", travel);
    answer.Column("wait", wait);
  }

 private:
  std::vector<double> records;
  std::vector<uint64_t> cycles;
  std::vector<uint8_t> types;
  std::vector<uint32_t> threads;
  std::vector<Place> at;
  std::vector<Place> to;
  std::vector<uint8_t> evidences;
  std::vector<double> work;
  std::vector<double> travel;
  std::vector<double> wait;
};

void PutTime(const TimeSplit& time, JsonText& head) {
  head.Key("time").Object();
  head.Key("work").Number(time.work);
  head.Key("travel").Number(time.travel);
  head.Key("wait").Number(time.wait).End();
}

struct WhyQuestion {
  uint64_t record = 0;
  Direction direction = Direction::CHAIN;
  uint64_t most = 0;
  ArrayShape shape;
};

MaybeRefusal AnswerChain(const Asking& asking, const Causes& causes, const WhyQuestion& question,
                         AnswerBytes& answer) {
  const Result<CausalChain> chain =
      FindChain(causes, question.shape, question.record, asking.progress);
  if (!chain) {
    return RefusalOf(chain.Why());
  }
  const Result<std::vector<ChainStep>> steps =
      StepsOf(causes, *chain, question.record, question.most, asking.progress);
  if (!steps) {
    return RefusalOf(steps.Why());
  }
  JsonText& head = answer.Head();
  head.Key("steps").Number(chain->Steps());
  head.Key("certain").Flag(chain->IsCertain());
  PutTime(chain->time, head);
  head.Key("firstCycle").Wide(chain->firstTime);
  head.Key("lastCycle").Wide(chain->lastTime);
  CauseColumns columns;
  for (const ChainStep& step : *steps) {
    columns.Add(step.event, step.evidence, step.since);
  }
  columns.Put(answer);
  return std::nullopt;
}

// Of a cone the events that are nearest to the one asked about.
std::vector<uint64_t> NearestOf(const CausalCone& cone, const WhyQuestion& question) {
  std::vector<uint64_t> records;
  const bool back = question.direction == Direction::BACK;
  std::optional<uint64_t> next =
      back ? cone.records.Before(question.record + 1) : cone.records.From(question.record);
  while (next && records.size() < question.most) {
    records.push_back(*next);
    next = back ? cone.records.Before(*next) : cone.records.From(*next + 1);
  }
  std::sort(records.begin(), records.end());
  return records;
}

MaybeRefusal AnswerCone(const Asking& asking, const Causes& causes, const WhyQuestion& question,
                        AnswerBytes& answer) {
  const bool back = question.direction == Direction::BACK;
  const Result<CausalCone> cone =
      FindCone(causes, question.record, back ? ConeDirection::BACK : ConeDirection::FORWARD,
               asking.progress);
  if (!cone) {
    return RefusalOf(cone.Why());
  }
  TimedRecords records(causes.trace);
  CausalGraph::Reader graph(causes.graph);
  CauseColumns columns;
  for (const uint64_t record : NearestOf(*cone, question)) {
    const Result<TimedRecords::Timed> timed = records.Read(record);
    if (!timed) {
      return RefusalOf(timed.Why());
    }
    columns.Add(timed->event, graph.Read(record).evidence, {});
  }
  JsonText& head = answer.Head();
  head.Key("steps").Number(cone->Events());
  head.Key("certain").Flag(cone->inferred == 0);
  PutTime({}, head);
  head.Key("firstCycle").Wide(cone->firstCycle);
  head.Key("lastCycle").Wide(cone->lastCycle);
  columns.Put(answer);
  return std::nullopt;
}

Result<std::shared_ptr<const KeptCauses>> FindIn(const Asking& asking, const ArrayShape& shape) {
  CauseQuestion question;
  question.shape = shape;
  const About* const about = asking.view.Beside().GetAbout();
  if (about != nullptr && about->array) {
    question.wrapColumns = about->array->wrapColumns;
    question.wrapRows = about->array->wrapRows;
  }
  const Result<LentNotes::Lease> notes = asking.view.Notes(asking.progress);
  if (!notes) {
    return notes.Why();
  }
  std::unique_ptr<Index> index = asking.view.Another();
  Result<Causes> found = FindCauses(asking.Trace(), *index, *notes ? &(*notes)->notes : nullptr,
                                    question, asking.progress);
  if (!found) {
    return found.Why();
  }
  return std::make_shared<const KeptCauses>(KeptCauses{std::move(index), std::move(found).Take()});
}

Result<std::shared_ptr<const KeptCauses>> CausesIn(const Asking& asking, const ArrayShape& shape) {
  if (asking.view.NotesAreComing()) {
    return FindIn(asking, shape);  // not to be kept: what the notes tell is not known yet
  }
  return asking.view.CausesFound().Get(shape, asking.progress,
                                       [&] { return FindIn(asking, shape); });
}

Refusal NoRecord(const Asking& asking) {
  return {Refusal::OUT_OF_RANGE, "there is no such record", asking.Trace().Name(), {}, {}};
}

// Before the trace is gone through. What is known of the notes stays so as long as the view is
// there.
MaybeRefusal RefuseWithoutPackets(const Asking& asking) {
  if (MaybeRefusal refusal = RefuseWithoutNotes(asking)) {
    return refusal;
  }
  if (!asking.view.Beside().Notes()->Declarations().Attribute(PACKET_ATTRIBUTE)) {
    return Refusal{Refusal::NOT_THERE, "the notes tell no packets", {}, {}, {}};
  }
  return std::nullopt;
}

void PutPacket(const PacketHistory& history, AnswerBytes& answer) {
  JsonText& head = answer.Head();
  head.Key("created");
  if (history.created) {
    head.Wide(*history.created);
  } else {
    head.Null();
  }
  head.Key("cycles").Number(history.Cycles());
  head.Key("waited").Number(history.waited);
  head.Key("certain").Flag(history.certain);
  CauseColumns columns;
  std::vector<double> holders;
  for (const PacketStep& step : history.steps) {
    TimeSplit since;
    since.travel = step.since - std::min(step.since, step.wait);
    since.wait = step.wait;
    columns.Add(step.event, Evidence::PACKET, since);
    holders.push_back(step.holders.empty() ? -1 : static_cast<double>(step.holders[0].packet));
  }
  columns.Put(answer);
  answer.Column("holder", holders);
}

}  // namespace

MaybeRefusal AnswerWhy(Asking& asking, AnswerBytes& answer) {
  WhyQuestion question;
  question.shape = TakeShape(asking);
  question.direction = TakeDirection(asking.members);
  const bool critical = question.direction == Direction::CRITICAL;
  question.record =
      asking.members.Number("record", critical ? std::optional<uint64_t>(0) : std::nullopt);
  question.most = asking.members.NumberUpTo("most", MOST_STEPS, 1000);
  if (MaybeRefusal refusal = asking.Check()) {
    return refusal;
  }
  if (!critical && question.record >= asking.GetSummary().records) {
    return NoRecord(asking);
  }
  const auto kept = CausesIn(asking, question.shape);
  if (!kept) {
    return RefusalOf(kept.Why());
  }
  const Causes& causes = (*kept)->causes;
  if (critical && !causes.last) {
    return NoRecord(asking);
  }
  question.record = critical ? *causes.last : question.record;
  answer.Head().Key("record").Number(question.record);
  const bool chain = critical || question.direction == Direction::CHAIN;
  return chain ? AnswerChain(asking, causes, question, answer)
               : AnswerCone(asking, causes, question, answer);
}

MaybeRefusal AnswerPacket(Asking& asking, AnswerBytes& answer) {
  const ArrayShape shape = TakeShape(asking);
  const uint64_t packet = asking.members.Wide("packet");
  if (MaybeRefusal refusal = asking.Check()) {
    return refusal;
  }
  if (MaybeRefusal refusal = RefuseWithoutPackets(asking)) {
    return refusal;
  }
  const auto kept = CausesIn(asking, shape);
  if (!kept) {
    return RefusalOf(kept.Why());
  }
  const AskedNotes notes = BorrowNotes(asking);
  if (notes.refusal) {
    return notes.refusal;
  }
  const Result<PacketHistory> history =
      FollowPacket((*kept)->causes, notes.lease->notes, packet, asking.progress);
  if (!history) {
    return RefusalOf(history.Why());
  }
  if (history->steps.empty()) {
    return Refusal{
        Refusal::NOT_THERE, "no event tells of packet " + std::to_string(packet), {}, {}, {}};
  }
  PutPacket(*history, answer);
  return std::nullopt;
}

}  // namespace marrowfin
