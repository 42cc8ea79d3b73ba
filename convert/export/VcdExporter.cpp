#include "convert/export/VcdExporter.h"

#include <array>
#include <bit>
#include <optional>
#include <vector>

#include "convert/export/EventWords.h"
#include "convert/export/PieceWriter.h"
#include "convert/export/Tracks.h"
#include "trace/base/Record.h"

namespace marrowfin {
namespace {

// What a line of the array has a signal for.
enum SignalKind : size_t { ACTS, SENDS, RECEIVES, SIGNAL_KINDS };

constexpr const char* TOTALS[] = {"switches", "fires", "sends"};
constexpr int TOTAL_BITS = 32;

// What tools call a signal: its number in the digits from ! to ~.
void AppendCode(size_t signal, std::string& out) {
  constexpr size_t DIGITS = 94;
  do {
    out += static_cast<char>('!' + signal % DIGITS);
    signal /= DIGITS;
  } while (signal > 0);
}

std::string ScopeName(std::string name) {
  for (char& c : name) {
    c = c == ' ' ? '_' : c;
  }
  return name;
}

class VcdExporter : public Exporter {
 public:
  VcdExporter(const EventNaming& naming, const ExportTarget& target)
      : naming(naming),
        tracks(naming),
        writer(*target.sink),
        out(writer.Text()),
        used(std::size(TOTALS) + tracks.Count() * SIGNAL_KINDS),
        high(used.size()),
        raised(used.size()) {}

  bool WantsSurvey() const override { return true; }
  void Survey(const NotedSelection& events) override;
  Fault Begin() override;
  Fault Add(const NotedSelection& events) override;
  Fault End() override;

 private:
  // The totals have the first numbers.
  static size_t SignalOf(size_t line, SignalKind kind) {
    return std::size(TOTALS) + line * SIGNAL_KINDS + kind;
  }
  template <class Take>
  void ForSignals(const TraceEvent& event, Take take) const;

  Fault DeclareCluster(size_t cluster);
  void DeclareDomain(size_t domain);
  void DeclareLine(size_t line, const std::string& scope, const char* acts);
  void DeclareSignal(size_t signal, const char* name, int bits);
  void BeginScope(const std::string& name);
  bool UsesLine(size_t line) const;
  bool UsesDomain(Place first) const;
  bool UsesCluster(size_t cluster) const;
  Fault DumpZeros();
  void EndCycle();
  void ChangeTotals(const std::array<uint64_t, RECORD_TYPES>& to);
  void Time(uint64_t cycle);
  void Change(size_t signal, bool to);

  const EventNaming& naming;
  Tracks tracks;
  PieceWriter writer;
  std::string& out;
  std::vector<bool> used;  // signals that ever change
  std::vector<bool> high;  // as the file has them so far
  std::vector<bool> raised;
  std::vector<size_t> before;  // those that are high
  std::vector<size_t> now;     // those that are raised in the cycle that goes on
  bool any = false;
  uint64_t cycle = 0;                               // that goes on
  std::optional<uint64_t> lastTime;                 // that was written
  std::array<uint64_t, RECORD_TYPES> counts = {};   // of events in it, by type
  std::array<uint64_t, RECORD_TYPES> written = {};  // as the file has them so far
};

template <class Take>
void VcdExporter::ForSignals(const TraceEvent& event, Take take) const {
  if (event.type == SWITCH_RECORD) {
    take(SignalOf(tracks.OfSwitch(event.at), ACTS));
  } else if (event.type == FIRE_RECORD) {
    take(SignalOf(tracks.OfElement(event.at), ACTS));
  } else {
    take(SignalOf(tracks.OfElement(event.at), SENDS));
    take(SignalOf(tracks.OfElement(event.to), RECEIVES));
  }
}

void VcdExporter::Survey(const NotedSelection& events) {
  for (size_t i = 0; i < events.found.Size(); ++i) {
    ForSignals(events.found.Event(i), [this](size_t signal) { used[signal] = true; });
  }
}

bool VcdExporter::UsesLine(size_t line) const {
  return used[SignalOf(line, ACTS)] || used[SignalOf(line, SENDS)] ||
         used[SignalOf(line, RECEIVES)];
}

bool VcdExporter::UsesDomain(Place first) const {
  const PerAxis& pes = tracks.Shape().pes;
  for (uint32_t row = first.row; row < first.row + pes.rows; ++row) {
    for (uint32_t column = first.column; column < first.column + pes.columns; ++column) {
      if (UsesLine(tracks.OfElement({column, row}))) {
        return true;
      }
    }
  }
  return false;
}

Fault VcdExporter::Begin() {
  const bool isNamed = naming.about != nullptr && !naming.about->date.empty();
  out += isNamed ? "$date " + OnOneLine(naming.about->date) + " $end\n" : "";
  out += "$comment a cycle is 1 ns $end\n$timescale 1 ns $end\n";
  BeginScope("array");
  for (size_t total = 0; total < std::size(TOTALS); ++total) {
    DeclareSignal(total, TOTALS[total], TOTAL_BITS);
  }
  if (UsesLine(Tracks::ELSEWHERE)) {
    DeclareLine(Tracks::ELSEWHERE, tracks.NameOf(Tracks::ELSEWHERE), "act");
  }
  for (size_t cluster = 0; cluster < tracks.Shape().Switches(); ++cluster) {
    if (Fault fault = DeclareCluster(cluster)) {
      return fault;
    }
  }
  out += "$upscope $end\n$enddefinitions $end\n";
  return DumpZeros();
}

void VcdExporter::BeginScope(const std::string& name) {
  out += "$scope module " + ScopeName(name) + " $end\n";
}

bool VcdExporter::UsesCluster(size_t cluster) const {
  const ArrayShape& shape = tracks.Shape();
  const auto columns = shape.clusters.columns;
  const Place first = shape.FirstOfCluster(
      {static_cast<uint32_t>(cluster % columns), static_cast<uint32_t>(cluster / columns)});
  for (uint32_t row = 0; row < shape.domains.rows; ++row) {
    for (uint32_t column = 0; column < shape.domains.columns; ++column) {
      if (UsesDomain(
              {first.column + column * shape.pes.columns, first.row + row * shape.pes.rows})) {
        return true;
      }
    }
  }
  return UsesLine(1 + shape.Elements() + cluster);
}

Fault VcdExporter::DeclareCluster(size_t cluster) {
  if (!UsesCluster(cluster)) {
    return {};
  }
  const ArrayShape& shape = tracks.Shape();
  const size_t row = cluster / shape.clusters.columns;
  const size_t column = cluster % shape.clusters.columns;
  BeginScope(tracks.NameOfCluster(cluster));
  const size_t switchLine = 1 + shape.Elements() + cluster;
  if (UsesLine(switchLine)) {
    DeclareLine(switchLine, "switch", "transmit");
  }
  const size_t perRow = size_t{shape.clusters.columns} * shape.domains.columns;
  for (size_t y = 0; y < shape.domains.rows; ++y) {
    for (size_t x = 0; x < shape.domains.columns; ++x) {
      DeclareDomain((row * shape.domains.rows + y) * perRow + column * shape.domains.columns + x);
    }
  }
  out += "$upscope $end\n";
  return writer.Pass();
}

void VcdExporter::DeclareDomain(size_t domain) {
  const ArrayShape& shape = tracks.Shape();
  const size_t perRow = size_t{shape.clusters.columns} * shape.domains.columns;
  const Place first = shape.FirstOfDomain(
      {static_cast<uint32_t>(domain % perRow), static_cast<uint32_t>(domain / perRow)});
  if (!UsesDomain(first)) {
    return;
  }
  BeginScope(tracks.NameOfDomain(domain));
  for (uint32_t row = first.row; row < first.row + shape.pes.rows; ++row) {
    for (uint32_t column = first.column; column < first.column + shape.pes.columns; ++column) {
      const size_t line = tracks.OfElement({column, row});
      if (UsesLine(line)) {
        DeclareLine(line, "PE " + std::to_string(column) + " " + std::to_string(row), "fire");
      }
    }
  }
  out += "$upscope $end\n";
}

void VcdExporter::DeclareLine(size_t line, const std::string& scope, const char* acts) {
  BeginScope(scope);
  const char* const names[] = {acts, "send", "receive"};
  for (size_t kind = 0; kind < SIGNAL_KINDS; ++kind) {
    const size_t signal = SignalOf(line, static_cast<SignalKind>(kind));
    if (used[signal]) {
      DeclareSignal(signal, names[kind], 1);
    }
  }
  out += "$upscope $end\n";
}

void VcdExporter::DeclareSignal(size_t signal, const char* name, int bits) {
  out += "$var wire " + std::to_string(bits) + " ";
  AppendCode(signal, out);
  out += std::string(" ") + name + (bits > 1 ? " [31:0]" : "") + " $end\n";
}

Fault VcdExporter::DumpZeros() {
  Time(0);
  out += "$dumpvars\n";
  for (size_t total = 0; total < std::size(TOTALS); ++total) {
    out += "b0 ";
    AppendCode(total, out);
    out += '\n';
  }
  for (size_t signal = std::size(TOTALS); signal < used.size(); ++signal) {
    if (used[signal]) {
      Change(signal, false);
      if (Fault fault = writer.Pass()) {
        return fault;
      }
    }
  }
  out += "$end\n";
  return {};
}

void VcdExporter::Time(uint64_t at) {
  if (at == lastTime) {
    return;
  }
  lastTime = at;
  out += '#';
  AppendNumber(at, out);
  out += '\n';
}

void VcdExporter::Change(size_t signal, bool to) {
  out += to ? '1' : '0';
  AppendCode(signal, out);
  out += '\n';
  high[signal] = to;
}

Fault VcdExporter::Add(const NotedSelection& events) {
  for (size_t i = 0; i < events.found.Size(); ++i) {
    const TraceEvent event = events.found.Event(i);
    if (any && event.cycle != cycle) {
      EndCycle();
      if (event.cycle - cycle > 1) {
        ++cycle;
        EndCycle();  // of one in which nothing happened
      }
    }
    any = true;
    cycle = event.cycle;
    ++counts[event.type - SWITCH_RECORD];
    ForSignals(event, [this](size_t signal) {
      if (!raised[signal]) {
        raised[signal] = true;
        now.push_back(signal);
      }
    });
  }
  return writer.Pass();
}

// What was raised is high; what was high before and was not raised again is low.
void VcdExporter::EndCycle() {
  Time(cycle);
  ChangeTotals(counts);
  for (const size_t signal : before) {
    if (!raised[signal]) {
      Change(signal, false);
    }
  }
  for (const size_t signal : now) {
    if (!high[signal]) {
      Change(signal, true);
    }
    raised[signal] = false;
  }
  before.swap(now);
  now.clear();
  counts = {};
}

void VcdExporter::ChangeTotals(const std::array<uint64_t, RECORD_TYPES>& to) {
  for (size_t type = 0; type < to.size(); ++type) {
    if (to[type] == written[type]) {
      continue;
    }
    out += 'b';
    const auto shown = static_cast<uint32_t>(to[type]);
    for (int bit = std::bit_width(shown | 1) - 1; bit >= 0; --bit) {
      out += (shown >> bit & 1) != 0 ? '1' : '0';
    }
    out += ' ';
    AppendCode(type, out);
    out += '\n';
    written[type] = to[type];
  }
}

Fault VcdExporter::End() {
  if (any) {
    EndCycle();
    ++cycle;
    EndCycle();
  }
  return writer.Flush();
}

}  // namespace

std::unique_ptr<Exporter> MakeVcdExporter(const EventNaming& naming, const ExportTarget& target) {
  return std::make_unique<VcdExporter>(naming, target);
}

}  // namespace marrowfin
