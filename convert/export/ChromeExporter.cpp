#include "convert/export/ChromeExporter.h"

#include <charconv>
#include <cmath>
#include <utility>

#include "convert/export/AboutFacts.h"
#include "convert/export/CycleCounts.h"
#include "convert/export/EventWords.h"
#include "convert/export/JsonWords.h"
#include "convert/export/PieceWriter.h"
#include "convert/export/Tracks.h"
#include "trace/base/Record.h"
#include "trace/base/TypeNames.h"

namespace marrowfin {
namespace {

constexpr char ONE_CYCLE[] = "0.001";  // microseconds

class ChromeExporter : public Exporter {
 public:
  ChromeExporter(const EventNaming& naming, const ExportTarget& target)
      : naming(naming), tracks(naming), writer(*target.sink), out(writer.Text()) {}

  Fault Begin() override;
  Fault Add(const NotedSelection& events) override;
  bool TakesSamples() const override { return true; }
  Fault AddSample(const CounterSample& sample) override;
  Fault End() override;

 private:
  // What an event is drawn as, but for where and when.
  struct Slice {
    const char* name;
    const char* category;
  };

  void AddEvent(const NotedSelection& from, size_t i);
  void AddSlice(const Slice& slice, size_t track, uint64_t cycle);
  void AddFlow(char phase, size_t track, const TraceEvent& event);
  void AddCounts(uint64_t cycle, const CycleCounts::Counts& of);
  void Describe(size_t track);
  void AddName(const char* what, uint64_t process, uint64_t thread, const std::string& name);
  void Head(char phase, uint64_t process, uint64_t thread);
  void AddTime(uint64_t cycle);
  void AddArgs(const NotedSelection& from, size_t i);

  // Processes are numbered from 1 on.
  uint64_t ProcessOf(size_t track) const {
    return 1 + tracks.ClusterOf(track).value_or(tracks.Shape().Switches());
  }
  uint64_t ThreadOf(size_t track) const { return tracks.IsElement(track) ? track : 0; }
  uint64_t WholeArray() const { return 2 + tracks.Shape().Switches(); }

  const EventNaming& naming;
  Tracks tracks;
  PieceWriter writer;
  std::string& out;
  CycleCounts counts;
  bool any = false;  // event in the list so far
};

Fault ChromeExporter::Begin() {
  out += "{\"displayTimeUnit\":\"ns\",\"otherData\":{\"cycle\":\"1 ns\"";
  ForFacts(naming, [this](const char* key, const std::string& fact) {
    out += std::string(",\"") + key + "\":";
    AppendJsonText(fact, out);
  });
  out += "},\"traceEvents\":[\n";
  return {};
}

Fault ChromeExporter::Add(const NotedSelection& events) {
  for (size_t i = 0; i < events.found.Size(); ++i) {
    AddEvent(events, i);
  }
  return writer.Pass();
}

void ChromeExporter::AddEvent(const NotedSelection& from, size_t i) {
  const TraceEvent event = from.found.Event(i);
  counts.Add(event, [this](uint64_t cycle, const auto& of) { AddCounts(cycle, of); });
  const bool isSend = event.type == SEND_RECORD;
  const char* const name = RecordTypeName(event.type);
  const size_t track =
      event.type == SWITCH_RECORD ? tracks.OfSwitch(event.at) : tracks.OfElement(event.at);
  AddSlice({name, name}, track, event.cycle);
  AddArgs(from, i);
  if (isSend) {
    const size_t far = tracks.OfElement(event.to);
    AddFlow('s', track, event);
    AddSlice({"receive", "send"}, far, event.cycle);
    out += ",\"args\":{\"record\":";
    AppendNumber(event.record, out);
    out += "}}";
    AddFlow('f', far, event);
  }
}

// Begins an object of the list.
void ChromeExporter::Head(char phase, uint64_t process, uint64_t thread) {
  out += any ? ",\n{\"ph\":\"" : "{\"ph\":\"";
  any = true;
  out += phase;
  out += "\",\"pid\":";
  AppendNumber(process, out);
  out += ",\"tid\":";
  AppendNumber(thread, out);
}

// Microseconds, with as many digits as tell cycles apart.
void ChromeExporter::AddTime(uint64_t cycle) {
  out += ",\"ts\":";
  AppendNumber(cycle / 1000, out);
  const auto rest = static_cast<unsigned>(cycle % 1000);
  const char digits[] = {'.', static_cast<char>('0' + rest / 100),
                         static_cast<char>('0' + rest / 10 % 10),
                         static_cast<char>('0' + rest % 10)};
  out.append(digits, sizeof(digits));
}

void ChromeExporter::AddSlice(const Slice& slice, size_t track, uint64_t cycle) {
  Describe(track);
  Head('X', ProcessOf(track), ThreadOf(track));
  AddTime(cycle);
  out += std::string(",\"dur\":") + ONE_CYCLE + ",\"name\":\"" + slice.name + "\",\"cat\":\"" +
         slice.category + "\"";
}

void ChromeExporter::AddArgs(const NotedSelection& from, size_t i) {
  const TraceEvent event = from.found.Event(i);
  out += ",\"args\":{\"record\":";
  AppendNumber(event.record, out);
  out += ",\"thread\":";
  AppendNumber(event.thread, out);
  if (const std::string* const name = NameOfThread(naming, event.thread)) {
    out += ",\"threadName\":";
    AppendJsonText(*name, out);
  }
  const auto addPlace = [this](const char* key, Place place) {
    out += std::string(",\"") + key + "\":[";
    AppendPlace(place, ",", out);
    out += ']';
  };
  addPlace(event.type == SEND_RECORD ? "from" : "at", event.at);
  if (event.type == SEND_RECORD) {
    addPlace("to", event.to);
  }
  if (naming.notes != nullptr) {
    out += ",\"notes\":";
    AppendJsonNotes(naming, from, i, out);
  }
  out += "}}";
}

void ChromeExporter::AddFlow(char phase, size_t track, const TraceEvent& event) {
  Head(phase, ProcessOf(track), ThreadOf(track));
  AddTime(event.cycle);
  out += ",\"name\":\"message\",\"cat\":\"message\",\"id\":";
  AppendNumber(event.record, out);
  out += phase == 'f' ? ",\"bp\":\"e\"}" : "}";
}

void ChromeExporter::AddCounts(uint64_t cycle, const CycleCounts::Counts& of) {
  static constexpr const char* NAMES[] = {"switches per cycle", "fires per cycle",
                                          "sends per cycle"};
  for (size_t type = 0; type < of.size(); ++type) {
    Head('C', WholeArray(), 0);
    AddTime(cycle);
    out += std::string(",\"name\":\"") + NAMES[type] + "\",\"args\":{\"count\":";
    AppendNumber(of[type], out);
    out += "}}";
  }
}

Fault ChromeExporter::AddSample(const CounterSample& sample) {
  if (!std::isfinite(sample.value)) {
    return {};  // JSON has no words for it
  }
  const size_t track = tracks.OfElement(sample.at);
  Describe(track);
  const NoteCounter& counter = naming.notes->counters[sample.counter];
  Head('C', ProcessOf(track), ThreadOf(track));
  AddTime(sample.cycle);
  std::string name = counter.name + " at ";
  AppendPlace(sample.at, " ", name);
  out += ",\"name\":";
  AppendJsonText(name, out);
  out += ",\"args\":{";
  AppendJsonText(counter.unit.empty() ? "value" : counter.unit, out);
  out += ':';
  char digits[64];
  out.append(digits, std::to_chars(digits, digits + sizeof(digits), sample.value).ptr);
  out += "}}";
  return writer.Pass();
}

void ChromeExporter::Describe(size_t track) {
  if (!tracks.IsNew(track)) {
    return;
  }
  const uint64_t process = ProcessOf(track);
  const std::optional<size_t> cluster = tracks.ClusterOf(track);
  if (!cluster) {
    AddName("process_name", process, 0, tracks.NameOf(track));
    return;
  }
  if (tracks.IsNewCluster(*cluster)) {
    AddName("process_name", process, 0, tracks.NameOfCluster(*cluster));
  }
  const std::string domain =
      tracks.IsElement(track) ? tracks.NameOfDomain(tracks.DomainOf(track)) + ", " : "";
  AddName("thread_name", process, ThreadOf(track), domain + tracks.NameOf(track));
}

void ChromeExporter::AddName(const char* what, uint64_t process, uint64_t thread,
                             const std::string& name) {
  Head('M', process, thread);
  out += std::string(",\"name\":\"") + what + "\",\"args\":{\"name\":";
  AppendJsonText(name, out);
  out += "}}";
}

Fault ChromeExporter::End() {
  AddName("process_name", WholeArray(), 0, "whole array");
  counts.End([this](uint64_t cycle, const auto& of) { AddCounts(cycle, of); });
  out += "\n]}\n";
  return writer.Flush();
}

}  // namespace

std::unique_ptr<Exporter> MakeChromeExporter(const EventNaming& naming,
                                             const ExportTarget& target) {
  return std::make_unique<ChromeExporter>(naming, target);
}

}  // namespace marrowfin
