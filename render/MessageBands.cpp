#include "render/MessageBands.h"

#include <algorithm>
#include <cstdlib>
#include <random>
#include <utility>

namespace marrowfin {
namespace {

constexpr uint64_t SAMPLE_MESSAGES = 256;

// A way through a picture from one place to another: along the longer axis one pixel each step,
// across it where the line is in the middle of that step.
struct Way {
  int64_t begin;   // along
  int64_t length;  // along
  int64_t start;   // across, at the beginning
  int64_t rise;    // across, from one end to the other; no more than the length either way
  bool tiesUp;     // which of two pixels is shown where the line passes between them
};

// Calls `take` with each step along, and where it is across.
template <class Take>
void Follow(const Way& way, Take take) {
  // In the middle of step k the line is at start + (2k + 1) rise / (2 length). That is rounded
  // down, in parts of 1 / (4 length), of which it has an even number: where ties go down, one less.
  const int64_t parts = 4 * way.length;
  int64_t across = way.start;
  int64_t rest = 2 * way.rise - (way.tiesUp ? 0 : 1);
  const auto carry = [&] {
    if (rest < 0) {
      rest += parts;
      --across;
    } else if (rest >= parts) {
      rest -= parts;
      ++across;
    }
  };
  carry();
  for (int64_t k = 0; k < way.length; ++k) {
    take(way.begin + k, across);
    rest += 4 * way.rise;
    carry();
  }
}

// From the end with the lower place along.
Way WayBetween(int64_t along, int64_t across, int64_t toAlong, int64_t toAcross) {
  return along <= toAlong ? Way{along, toAlong - along, across, toAcross - across, false}
                          : Way{toAlong, along - toAlong, toAcross, across - toAcross, false};
}

}  // namespace

MessageBands::MessageBands(std::vector<uint32_t> bases, uint32_t side)
    : bases(std::move(bases)), side(side) {}

bool MessageBands::CanPaint(const ArrayState& state) const {
  return std::all_of(state.messages.begin(), state.messages.end(), [&](const LiveMessage& message) {
    return state.shape.HasElement(message.from) && state.shape.HasElement(message.to);
  });
}

// The four lines are one line at each corner of a unit square, so that each of its pixels is one of
// a square of four.
void MessageBands::PaintBand(const LiveMessage& message, Pixel color, Pixel* pixels) const {
  const int64_t x = bases[message.from.column];
  const int64_t y = bases[message.from.row];
  const int64_t toX = bases[message.to.column];
  const int64_t toY = bases[message.to.row];
  const int64_t width = side;
  const auto square = [&](int64_t column, int64_t row) {
    Pixel* const lower = pixels + (width - 1 - row) * width + column;
    Pixel* const upper = lower - width;
    lower[0] = lower[1] = upper[0] = upper[1] = color;
  };
  if (std::abs(toX - x) >= std::abs(toY - y)) {
    Way way = WayBetween(x, y, toX, toY);
    way.tiesUp = way.rise > 0;
    Follow(way, square);
  } else {
    Follow(WayBetween(y, x, toY, toX), [&](int64_t row, int64_t column) { square(column, row); });
  }
}

void MessageBands::Paint(const ArrayState& state, Pixel* pixels) const {
  for (const LiveMessage& message : state.messages) {
    const Color color = state.ColorOf(message);
    PaintBand(message, {color.red, color.green, color.blue, 0}, pixels);
  }
}

ArrayState MessageBands::Sample(const ArrayShape& shape) {
  std::minstd_rand random(1);
  const auto place = [&] {
    const auto column = static_cast<uint32_t>(random() % shape.Columns());
    return Place{column, static_cast<uint32_t>(random() % shape.Rows())};
  };
  ArrayState state;
  state.shape = shape;
  state.step = LAST_MESSAGE_AGE;
  for (uint64_t i = 0; i < SAMPLE_MESSAGES; ++i) {
    const Place from = place();
    Place to = place();
    to.row = i % 16 == 0 ? from.row : to.row;
    to.column = i % 16 == 1 ? from.column : to.column;
    state.messages.push_back({i, i % (LAST_MESSAGE_AGE + 1), 0, from, to});
  }
  return state;
}

}  // namespace marrowfin
