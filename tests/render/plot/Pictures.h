#ifndef TESTS_RENDER_PLOT_PICTURES_H
#define TESTS_RENDER_PLOT_PICTURES_H

#include <cairo.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "measure/CountRun.h"
#include "render/plot/PlottedRun.h"
#include "tests/support/Files.h"
#include "tests/trace/support/Opened.h"

namespace marrowfin::testing {

// The bytes of a plot that can be drawn.
inline std::string BytesOf(const Plot& plot, const PlotStyle& style) {
  Result<std::unique_ptr<Canvas>> canvas = DrawPage(plot.words, *plot.body, style);
  EXPECT_TRUE(canvas) << canvas.Why().Text();
  MemorySink sink;
  if (canvas) {
    EXPECT_FALSE((*canvas)->Write(sink, "plot"));
  }
  return {sink.Bytes().begin(), sink.Bytes().end()};
}

// Compares with a picture that is kept; MARROWFIN_KEEP_PICTURES=1 keeps a new one.
inline void ExpectKeptPicture(const std::string& name, const std::string& bytes) {
  const std::string path = std::string(MARROWFIN_SOURCE_DIR "/tests/render/plot/golden/") + name;
  if (getenv("MARROWFIN_KEEP_PICTURES") != nullptr) {
    WriteFile(path, bytes);
  }
  EXPECT_TRUE(ReadFile(path) == bytes) << path << " is another picture";
}

inline PlotStyle StyleOf(PlotFormat format, double width, const Theme& theme = Theme::Light()) {
  PlotStyle style;
  style.format = format;
  style.theme = &theme;
  style.width = width;
  return style;
}

// The colours of a PNG.
class PngPixels {
 public:
  explicit PngPixels(const std::string& png) : bytes(png) {
    surface = cairo_image_surface_create_from_png_stream(Read, this);
  }
  PngPixels(const PngPixels&) = delete;
  PngPixels& operator=(const PngPixels&) = delete;
  ~PngPixels() { cairo_surface_destroy(surface); }

  int Width() const { return cairo_image_surface_get_width(surface); }
  int Height() const { return cairo_image_surface_get_height(surface); }

  Color At(int x, int y) const {
    const unsigned char* const pixel =
        cairo_image_surface_get_data(surface) +
        static_cast<ptrdiff_t>(y) * cairo_image_surface_get_stride(surface) + ptrdiff_t{4} * x;
    return {pixel[2], pixel[1], pixel[0]};
  }

  // How many pixels of the rows `from` up to `to` have a colour.
  size_t Count(Color color) const { return Count(color, 0, Height()); }
  size_t Count(Color color, int from, int to) const {
    size_t count = 0;
    for (int y = from; y < to; ++y) {
      for (int x = 0; x < Width(); ++x) {
        count += At(x, y) == color ? 1 : 0;
      }
    }
    return count;
  }

 private:
  static cairo_status_t Read(void* self, unsigned char* data, unsigned int length) {
    PngPixels& pixels = *static_cast<PngPixels*>(self);
    pixels.bytes.copy(reinterpret_cast<char*>(data), length, pixels.at);
    pixels.at += length;
    return CAIRO_STATUS_SUCCESS;
  }

  std::string bytes;
  size_t at = 0;
  cairo_surface_t* surface;
};

// A trace in a file, counted for plots.
struct CountedTrace {
  CountedTrace(const std::string& bytes, const ArrayShape& shape) : opened(bytes) {
    RunQuestion question;
    question.shape = shape;
    Result<RunCounts> result = CountRun(*opened.trace, nullptr, question);
    EXPECT_TRUE(result);
    counts.emplace(std::move(result).Take());
    run.trace = "run.trace";
    run.counts = &*counts;
    run.measures = MeasuresOf(*counts);
  }

  Opened opened;
  std::optional<RunCounts> counts;
  PlottedRun run;
};

}  // namespace marrowfin::testing

#endif
