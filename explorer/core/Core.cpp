#include "explorer/core/Core.h"

#include <map>
#include <new>
#include <stdexcept>
#include <utility>

#include "explorer/core/Answers.h"
#include "trace/base/NearestWord.h"

namespace marrowfin {
namespace {

const std::map<std::string, AnswerFunction>& Answers() {
  static const std::map<std::string, AnswerFunction> answers = {
      {"activity", AnswerActivity}, {"count", AnswerCount},   {"counter", AnswerCounter},
      {"events", AnswerEvents},     {"heat", AnswerHeat},     {"hits", AnswerHits},
      {"kinds", AnswerKinds},       {"lane", AnswerLane},     {"links", AnswerLinks},
      {"measures", AnswerMeasures}, {"next", AnswerNext},     {"packet", AnswerPacket},
      {"palette", AnswerPalette},   {"phases", AnswerPhases}, {"piece", AnswerPiece},
      {"search", AnswerSearch},     {"state", AnswerState},   {"steps", AnswerSteps},
      {"trace", AnswerTrace},       {"when", AnswerWhen},     {"why", AnswerWhy},
  };
  return answers;
}

// Nothing where the name is that of no question, which is then the members' trouble.
AnswerFunction FindAnswer(Members& members) {
  const std::string name = members.Text("ask");
  const auto found = Answers().find(name);
  if (found != Answers().end()) {
    return found->second;
  }
  const std::string nearest = NearestWord(name, QuestionNames());
  members.Refuse("there is no question `" + name.substr(0, 64) + "`",
                 nearest.empty() ? "" : "is `" + nearest + "` meant?");
  return nullptr;
}

void CheckProtocol(Members& members) {
  if (members.Number("protocol") != AnswerBytes::PROTOCOL) {
    members.Refuse("this is protocol " + std::to_string(AnswerBytes::PROTOCOL),
                   "load the page again");
  }
}

// While a trace is being indexed, what is behind the part that was is not known to be nowhere.
Refusal AsOf(const TraceView& view, Refusal refusal) {
  if (refusal.code == Refusal::OUT_OF_RANGE && !view.IsWhole()) {
    refusal.code = Refusal::NOT_INDEXED_YET;
    refusal.remedy = "ask again when more of the trace is indexed";
  }
  if (refusal.ofIndex) {
    refusal.code = Refusal::NOT_INDEXED_YET;
    refusal.remedy = "the index is made anew: ask again in a moment";
  }
  return refusal;
}

}  // namespace

std::vector<uint8_t> AnswerBy(const std::function<MaybeRefusal(AnswerBytes&)>& ask) {
  try {
    AnswerBytes answer;
    if (const MaybeRefusal refusal = ask(answer)) {
      return AnswerBytes::Of(*refusal);
    }
    return answer.Finish();
  } catch (const std::bad_alloc&) {
  } catch (const std::length_error&) {
    // What containers say of a size that no memory has.
  } catch (const std::exception& error) {
    return AnswerBytes::Of({Refusal::INTERNAL,
                            std::string("the explorer met a mistake of its own: ") + error.what(),
                            {},
                            {},
                            "ask another question; other ones are answered"});
  }
  return AnswerBytes::Of(
      {Refusal::TOO_MUCH, "memory ran out for the answer", {}, {}, "choose a shorter range"});
}

std::vector<std::string> QuestionNames() {
  std::vector<std::string> names;
  for (const auto& [name, answer] : Answers()) {
    names.push_back(name);
  }
  return names;
}

std::vector<uint8_t> Core::Answer(std::span<const uint8_t> question,
                                  const Cancelled& cancelled) const {
  return AnswerBy([&](AnswerBytes& answer) { return Ask(question, cancelled, answer); });
}

MaybeRefusal Core::Ask(std::span<const uint8_t> bytes, const Cancelled& cancelled,
                       AnswerBytes& answer) const {
  Question question(bytes);
  Members& members = question.All();
  CheckProtocol(members);
  const std::string fingerprint = members.Text("trace");
  const AnswerFunction function = FindAnswer(members);
  if (members.Trouble()) {
    return members.Trouble();
  }
  const auto found = traces.Find(fingerprint);
  if (const auto* const refusal = std::get_if<Refusal>(&found)) {
    return *refusal;
  }
  if (cancelled && cancelled()) {
    return RefusalOf(CancelledFault(""));
  }
  const TraceView& view = *std::get<std::shared_ptr<TraceView>>(found);
  const TraceView::Lease index = view.Borrow();
  const ProgressCallback progress = [&](const Progress&) { return !cancelled || !cancelled(); };
  Asking asking = {members, view, index, shape, progress};
  const MaybeRefusal refusal = function(asking, answer);
  if (refusal && refusal->ofIndex) {
    traces.RebuildIndex(view);
  }
  return refusal ? MaybeRefusal(AsOf(view, *refusal)) : std::nullopt;
}

}  // namespace marrowfin
