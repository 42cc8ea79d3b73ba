#include "convert/export/LinesExporter.h"

#include "convert/export/EventCsv.h"
#include "convert/export/EventJsonLines.h"
#include "convert/export/PieceWriter.h"

namespace marrowfin {
namespace {

template <class Lines>
class LinesExporter : public Exporter {
 public:
  LinesExporter(const EventNaming& naming, const ExportTarget& target)
      : lines(naming), writer(*target.sink) {}

  Fault Begin() override {
    lines.Begin(writer.Text());
    return {};
  }

  Fault Add(const NotedSelection& events) override {
    lines.AddFirst(events, events.found.Size(), writer.Text());
    return writer.Pass();
  }

  Fault End() override { return writer.Flush(); }

 private:
  Lines lines;
  PieceWriter writer;
};

}  // namespace

std::unique_ptr<Exporter> MakeCsvExporter(const EventNaming& naming, const ExportTarget& target) {
  return std::make_unique<LinesExporter<EventCsv>>(naming, target);
}

std::unique_ptr<Exporter> MakeJsonLinesExporter(const EventNaming& naming,
                                                const ExportTarget& target) {
  return std::make_unique<LinesExporter<EventJsonLines>>(naming, target);
}

}  // namespace marrowfin
