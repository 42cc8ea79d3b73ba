#include <cmath>
#include <memory>
#include <string>
#include <string_view>

#include "fuzz/Fuzz.h"
#include "trace/read/AboutFile.h"
#include "trace/read/Companion.h"
#include "trace/read/PositionedFile.h"
#include "trace/read/TraceSource.h"
#include "trace/write/AboutText.h"
#include "trace/write/Writer.h"

// Bytes as an about file: what is believed of one is within its bounds, and written and read again
// it is the same.

namespace marrowfin::fuzz {

namespace {

const TraceSource& TheTrace() {
  static const std::unique_ptr<TraceSource> trace = [] {
    MemorySink sink;
    Writer writer;
    writer.Attach(sink);
    writer.Fire(5, 1, {7, 2});
    Require(!writer.Close(), "a whole trace");
    Result<std::unique_ptr<TraceSource>> opened = TraceSource::Over(MemoryFile(sink.Bytes(), "t"));
    Require(static_cast<bool>(opened), "an open trace");
    return std::move(opened).Take();
  }();
  return *trace;
}

bool IsPerAxis(const PerAxis& counts) { return counts.columns >= 1 && counts.rows >= 1; }

void CheckArray(const AboutArray& array) {
  const ArrayShape& shape = array.shape;
  Require(IsPerAxis(shape.clusters) && IsPerAxis(shape.domains) && IsPerAxis(shape.pes),
          "every level has columns and rows");
  constexpr uint64_t MOST = uint64_t{1} << 31;
  const auto product = [](uint64_t a, uint64_t b, uint64_t c) { return a * b * c; };
  Require(product(shape.clusters.columns, shape.domains.columns, shape.pes.columns) < MOST &&
              product(shape.clusters.rows, shape.domains.rows, shape.pes.rows) < MOST,
          "columns and rows of the array can be counted");
}

// What has no control characters, which are not written.
std::string Plain(std::string text) {
  for (char& c : text) {
    c = static_cast<unsigned char>(c) < 0x20 || c == 0x7F ? ' ' : c;
  }
  return text;
}

About WithPlainTexts(About about) {
  for (std::string* text : {&about.name, &about.command, &about.date, &about.tool}) {
    *text = Plain(*text);
  }
  if (about.links) {
    about.links->routing = Plain(about.links->routing);
  }
  for (auto& [number, thread] : about.threads) {
    thread = {Plain(thread.name), Plain(thread.meaning)};
  }
  for (auto& [place, name] : about.places) {
    name = Plain(name);
  }
  return about;
}

void Try(std::string_view text) {
  const Result<About> about = ParseAbout(text, "t.about");
  if (!about) {
    Require(about.Why().kind == Fault::DAMAGED_NOTES && !about.Why().reason.empty(),
            "what is refused has a reason");
    return;
  }
  Require(about->printed <= About::MOST_PRINTED, "few records tell a trace");
  Require(!about->cycleNs || (std::isfinite(*about->cycleNs) && *about->cycleNs > 0),
          "a cycle takes time");
  if (about->array) {
    CheckArray(*about->array);
  }
  Require(!about->links || MessageRate::Is(about->links->messagesPerCycle),
          "a link takes messages");
  Require(!about->switches || !about->switches->messagesPerCycle ||
              MessageRate::Is(*about->switches->messagesPerCycle),
          "a switch passes messages on");
  const Result<About> again = ParseAbout(AboutText(*about), "t.about");
  Require(static_cast<bool>(again), "what is written is read");
  Require(*again == WithPlainTexts(*about), "what is written is read as it was");
  const Fault other = CheckIsAbout(*about, TheTrace(), "t.about");
  Require(!other || other.kind == Fault::OTHER_TRACE, "of this trace, or of another");
  const Companion companion = Companion::Of(
      TheTrace(),
      MemoryFile(std::span(reinterpret_cast<const uint8_t*>(text.data()), text.size()), "t.about"),
      nullptr);
  Require((companion.GetAbout() == nullptr) == static_cast<bool>(other),
          "what is of another trace is not believed");
}

}  // namespace

}  // namespace marrowfin::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  marrowfin::fuzz::Try({reinterpret_cast<const char*>(data), size});
  return 0;
}
