// How fast moments of a trace are drawn, against asking for them and against the viewer's own way.
//
// usage: marrowfin_render_bench FOLDER
//
// A trace goes to FOLDER and is removed again. Times are medians by the clock of what takes turns.
// Exits with 3 where a bar is not met.

#include <unistd.h>

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "bench/trace/Measure.h"
#include "bench/trace/Table.h"
#include "render/ArrayRenderer.h"
#include "render/floorplan/FloorplanRenderer.h"
#include "trace/ask/StateCursor.h"
#include "trace/ask/StateReader.h"
#include "trace/write/Synth.h"
#include "trace/write/Writer.h"
#include "viewer/ArchPiece.h"
#include "viewer/Display.h"

namespace marrowfin::bench {
namespace {

constexpr uint64_t RECORDS = 2400000;
constexpr int REPETITIONS = 15;
constexpr int FRAMES = 240;
const ArrayShape small = {4, 2, 8};  // 64 by 64
const ArrayShape large = {8, 4, 8};  // 256 by 256

// A made-up trace of an array, and its index.
class Subject {
 public:
  Subject(const std::string& folder, const ArrayShape& shape)
      : shape(shape), file(folder + "/bench.trace") {
    SynthOptions options;
    options.shape = shape;
    options.records = RECORDS;
    options.threads = 8;
    Writer writer;
    Require(writer.Open(file));
    Require(Synthesize(options, writer));
    Require(writer.Close());
    trace = Value(TraceSource::Open(file));
    Require(Index::Build(*trace, file + ".mfindex"));
    index = Value(Index::Open(*trace));
    steps = Value(StateReader(*trace, *index, shape).CountSteps(0));
  }
  ~Subject() {
    unlink(file.c_str());
    unlink((file + ".mfindex").c_str());
  }

  ArrayState At(uint64_t step) const {
    return Value(StateReader(*trace, *index, shape).AtStep(step, 0));
  }

  // Steps that are alike in every run, all over the trace.
  uint64_t SomeStep() {
    state = state * 6364136223846793005U + 1442695040888963407U;
    return (state >> 33) % (steps + 1);
  }

  ArrayShape shape;
  std::string file;
  std::unique_ptr<TraceSource> trace;
  std::unique_ptr<Index> index;
  uint64_t steps = 0;

 private:
  uint64_t state = 1;
};

Location At(Place place) { return {static_cast<int>(place.row), static_cast<int>(place.column)}; }

// The viewer's pieces in the colours of a state.
void Take(const ArrayState& state, Grid& grid) {
  for (size_t i = 0; i < state.elements.size(); ++i) {
    const Color color = state.elements[i];
    grid.processingElements.at(At(state.shape.ElementAt(i)))
        ->SetColor(color.red, color.green, color.blue);
  }
}

// The flat view of a large array, messages apart: those are few, and drawn alike by both.
void MeasureFlatView(const std::string& folder) {
  Heading("256 x 256 PEs in 1024 x 1024 pixels");
  const Subject subject(folder, large);
  ArrayState state = subject.At(subject.steps / 2);
  state.messages.clear();
  const PictureSize size = {1024, 1024};
  const auto renderer = Value(ArrayRenderer::Open(large, {size, 0}));
  Grid grid(large.clusters.columns, large.domains.columns, large.pes.columns, nullptr);
  Take(state, grid);
  const auto context = Value(OffscreenContext::Open(size));
  const int units = PictureUnits(grid);
  std::vector<Pixel> kept;
  std::vector<Pixel> read;
  const auto clear = [&] {
    Require(context->MakeCurrent());
    glClearColor(1, 1, 1, 1);
    glClear(GL_COLOR_BUFFER_BIT);
    context->Read(read);
  };
  const auto pieces = [&] {
    clear();
    FitPicture(static_cast<int>(size.width), static_cast<int>(size.height), units, units);
    TurnPicture(units, units, 0);
    grid.Draw();
    context->Read(read);
  };
  const auto draw = [&] { Require(renderer->DrawInto(state, kept)); };
  const std::vector<Time> times = Alternate(REPETITIONS, {draw, clear, pieces});
  AtMost("a picture, against clearing and reading one", times[0].elapsed / times[1].elapsed, "x",
         6);
  AtLeast("  faster than piece by piece", times[2].elapsed / times[0].elapsed, "x", 20);
  Note("  a picture", times[0].elapsed * 1e3, "ms");
}

void MeasureMoments(Subject& subject) {
  const auto viewer = Value(ArrayRenderer::Open(subject.shape, {}));
  const auto floorplan = Value(FloorplanRenderer::Open(subject.shape, {}));
  std::vector<Pixel> pixels;
  const auto ask = [&] { subject.At(subject.SomeStep()); };
  const auto draw = [&] { Require(viewer->DrawInto(subject.At(subject.SomeStep()), pixels)); };
  const auto plan = [&] { Require(floorplan->DrawInto(subject.At(subject.SomeStep()), pixels)); };
  const std::vector<Time> times = Alternate(9 * REPETITIONS, {ask, draw, plan});
  const auto size = [](const MomentRenderer& renderer) {
    return std::to_string(renderer.Size().width) + " x " + std::to_string(renderer.Size().height);
  };
  AtMost("picture of " + size(*viewer) + " at a random step, against its state",
         times[1].elapsed / times[0].elapsed, "x", 5);
  Note("  as a floorplan of " + size(*floorplan), times[2].elapsed / times[0].elapsed, "x");
  Note("  the state", times[0].elapsed * 1e3, "ms");
}

double FramesPerSecond(const Subject& subject, MomentRenderer& renderer) {
  StateCursor cursor(*subject.trace, *subject.index, subject.shape);
  Require(cursor.MoveToStep(subject.steps / 2, 0));
  std::vector<Pixel> pixels;
  const Time time = Measure([&] {
    for (int i = 0; i < FRAMES; ++i) {
      Require(renderer.DrawInto(cursor.State(), pixels));
      Require(Value(cursor.Next()), "the trace is too short");
    }
  });
  return FRAMES / time.elapsed;
}

void MeasureFilm(const Subject& subject) {
  const PictureSize size = {1920, 1080};
  const auto viewer = Value(ArrayRenderer::Open(subject.shape, {size, 0}));
  AtLeast("film of 1920 x 1080, pictures a second", FramesPerSecond(subject, *viewer), "", 60);
  FloorplanView view;
  view.size = size;
  const auto floorplan = Value(FloorplanRenderer::Open(subject.shape, view));
  AtLeast("  of floorplans", FramesPerSecond(subject, *floorplan), "", 60);
}

int Run(const std::string& folder) {
  printf("%s\n", Machine().c_str());
  MeasureFlatView(folder);
  Heading("64 x 64 PEs, 2.4 M records");
  Subject subject(folder, small);
  MeasureMoments(subject);
  MeasureFilm(subject);
  printf("\n%d lines not met\n", NotMet());
  return NotMet() == 0 ? 0 : 3;
}

}  // namespace
}  // namespace marrowfin::bench

int main(int argc, char** argv) {
  if (argc != 2) {
    fprintf(stderr, "usage: marrowfin_render_bench FOLDER\n");
    return 2;
  }
  return marrowfin::bench::Run(argv[1]);
}
