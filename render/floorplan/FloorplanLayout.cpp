#include "render/floorplan/FloorplanLayout.h"

#include <algorithm>
#include <cmath>
#include <string>

namespace marrowfin {
namespace {

constexpr int64_t LARGEST_PITCH = 24;  // of a picture whose size nobody gave
constexpr int64_t LEAST_WITH_MARGIN = 64;

bool IsFramed(const ArrayShape& shape) { return shape.Switches() > 1; }

FloorplanAxis ColumnsOf(const ArrayShape& shape) {
  return {shape.clusters.columns, shape.domains.columns, shape.pes.columns, IsFramed(shape)};
}

FloorplanAxis RowsOf(const ArrayShape& shape) {
  return {shape.clusters.rows, shape.domains.rows, shape.pes.rows, IsFramed(shape)};
}

// Numbers: pixels of their letters on a picture of this many along the shorter side, room that a
// digit takes of that, and the pixels between numbers and array.
constexpr double USUAL_NUMBER = 11;
constexpr double USUAL_SIDE = 1080;
constexpr double DIGIT = 0.64;
constexpr int64_t NUMBER_GAP = 5;

int64_t ShorterSide(PictureSize size) { return std::min(size.width, size.height); }

}  // namespace

FloorplanAxis::FloorplanAxis(uint32_t clusters, uint32_t domains, uint32_t pes, bool framed)
    : clusters(clusters), domains(domains), pes(pes), frame(framed ? 1 : 0), apart(frame) {}

int64_t FloorplanAxis::CrossBefore(int64_t number) const {
  if (number == 0 || domains == 1) {
    return 0;
  }
  return number == domains / 2 ? 2 : 1;
}

int64_t FloorplanAxis::InDomains(int64_t number) const {
  if (domains == 1) {
    return number * 2 * pes;
  }
  return number * (2 * pes + 1) + (number >= domains / 2 ? 1 : 0);
}

int64_t FloorplanAxis::Domain(int64_t number) const {
  return Cluster(number / domains) + frame + InDomains(number % domains);
}

int64_t FloorplanAxis::Element(int64_t number) const {
  return Domain(number / pes) + number % pes * 2;
}

int64_t FloorplanAxis::Switch(int64_t cluster) const {
  const int64_t first = Cluster(cluster) + frame;
  return HasCross() ? first + InDomains(domains / 2) - 1 : first + pes;
}

FloorplanLayout::FloorplanLayout(const ArrayShape& shape, PictureSize size)
    : shape(shape),
      columns(ColumnsOf(shape)),
      rows(RowsOf(shape)),
      size(size),
      numberSize(NumberSizeOf(size)) {
  const Margins margins = MarginsOf(shape, size);
  const auto across = static_cast<double>(columns.Length());
  const auto up = static_cast<double>(rows.Length());
  const auto width = static_cast<double>(size.width - margins.left - margins.others);
  const auto height = static_cast<double>(size.height - margins.below - margins.others);
  pitch = 2 * std::min(width / across, height / up);
  if (pitch >= LEAST_PITCH) {
    pitch = std::floor(pitch);
  } else if (pitch * std::min(shape.pes.columns, shape.pes.rows) >= LEAST_DOMAIN) {
    drawn = Level::DOMAIN;
  } else {
    drawn = Level::CLUSTER;
  }
  left = static_cast<double>(margins.left) + std::floor((width - across * pitch / 2) / 2);
  below = static_cast<double>(margins.below) + std::floor((height - up * pitch / 2) / 2);
}

double FloorplanLayout::NumberSizeOf(PictureSize size) {
  const int64_t side = ShorterSide(size);
  return side < LEAST_NUMBERED
             ? 0
             : std::max(USUAL_NUMBER,
                        std::floor(static_cast<double>(side) * USUAL_NUMBER / USUAL_SIDE));
}

FloorplanLayout::Margins FloorplanLayout::MarginsOf(const ArrayShape& shape, PictureSize size) {
  if (ShorterSide(size) >= LEAST_NUMBERED) {
    return NumberedMargins(shape, NumberSizeOf(size));
  }
  const int64_t margin = ShorterSide(size) < LEAST_WITH_MARGIN ? 0 : MARGIN;
  return {margin, margin, margin};
}

FloorplanLayout::Margins FloorplanLayout::NumberedMargins(const ArrayShape& shape,
                                                          double numberSize) {
  const size_t digits = std::to_string(shape.Rows() - 1).size();
  const double wide = DIGIT * numberSize * static_cast<double>(digits);
  return {MARGIN + static_cast<int64_t>(std::ceil(wide)) + NUMBER_GAP,
          MARGIN + static_cast<int64_t>(std::ceil(numberSize)) + NUMBER_GAP, MARGIN};
}

PictureSize FloorplanLayout::SizeFor(const ArrayShape& shape, uint32_t longest) {
  const int64_t across = ColumnsOf(shape).Length();
  const int64_t up = RowsOf(shape).Length();
  const auto sizeWithin = [&](const Margins& margins) {
    const int64_t room =
        std::max<int64_t>(1, int64_t{longest} - std::max(margins.left, margins.below) - MARGIN);
    const int64_t whole = std::min(LARGEST_PITCH, 2 * room / std::max(across, up));
    const double pitch = whole >= LEAST_PITCH ? static_cast<double>(whole)
                                              : 2.0 * static_cast<double>(room) /
                                                    static_cast<double>(std::max(across, up));
    const auto side = [&](int64_t halves, int64_t margin) {
      return static_cast<uint32_t>(std::ceil(static_cast<double>(halves) * pitch / 2)) + margin +
             MARGIN;
    };
    return PictureSize{static_cast<uint32_t>(side(across, margins.left)),
                       static_cast<uint32_t>(side(up, margins.below))};
  };
  const PictureSize numbered = sizeWithin(NumberedMargins(shape, USUAL_NUMBER));
  return ShorterSide(numbered) >= LEAST_NUMBERED ? numbered : sizeWithin({MARGIN, MARGIN, MARGIN});
}

uint32_t FloorplanLayout::NumberStep() const {
  constexpr double ROOM = 28.0 / USUAL_NUMBER;  // from one to the next, in sizes of their letters
  const bool flat = shape.Switches() == 1 && shape.domains == PerAxis{1, 1};
  uint32_t step = flat && pitch >= 24 ? 1 : pitch >= 14 ? 4 : 8;
  while (step * pitch < ROOM * numberSize && step < ArrayShape::LONGEST_SIDE) {
    step *= 2;
  }
  return step;
}

// A digit is 0.73 of its size high.
PixelSpot FloorplanLayout::ColumnNumber(uint32_t column) const {
  return {MiddleOf({column, 0}).x, static_cast<double>(AlongY(0)) + NUMBER_GAP + 0.73 * numberSize};
}

PixelSpot FloorplanLayout::RowNumber(uint32_t row) const {
  return {static_cast<double>(AlongX(0)) - NUMBER_GAP, MiddleOf({0, row}).y + 0.365 * numberSize};
}

int64_t FloorplanLayout::Gap() const { return pitch >= 18 ? 2 : pitch >= LEAST_PITCH ? 1 : 0; }

int64_t FloorplanLayout::AlongX(int64_t halves) const {
  return static_cast<int64_t>(std::floor(left + static_cast<double>(halves) * pitch / 2));
}

int64_t FloorplanLayout::AlongY(int64_t halves) const {
  return size.height -
         static_cast<int64_t>(std::floor(below + static_cast<double>(halves) * pitch / 2));
}

// A unit that there is room for is never lost between two pixels.
PixelBox FloorplanLayout::BoxOf(int64_t x, int64_t xEnd, int64_t y, int64_t yEnd,
                                int64_t gap) const {
  PixelBox box;
  box.x = AlongX(x);
  box.width = std::max<int64_t>(1, AlongX(xEnd) - box.x - gap);
  const int64_t bottom = AlongY(y);
  box.height = std::max<int64_t>(1, bottom - AlongY(yEnd) - gap);
  box.y = bottom - box.height;
  return box;
}

PixelBox FloorplanLayout::Element(Place element) const {
  const int64_t x = columns.Element(element.column);
  const int64_t y = rows.Element(element.row);
  return BoxOf(x, x + 2, y, y + 2, Gap());
}

PixelBox FloorplanLayout::Domain(Place domain) const {
  const int64_t x = columns.Domain(domain.column);
  const int64_t y = rows.Domain(domain.row);
  return BoxOf(x, x + 2 * int64_t{shape.pes.columns}, y, y + 2 * int64_t{shape.pes.rows}, Gap());
}

PixelBox FloorplanLayout::Cluster(Place cluster) const {
  const int64_t x = columns.Cluster(cluster.column);
  const int64_t y = rows.Cluster(cluster.row);
  return BoxOf(x, x + columns.ClusterLength(), y, y + rows.ClusterLength(), 0);
}

PixelBox FloorplanLayout::Unit(Place unit) const {
  switch (drawn) {
    case Level::PE:
      return Element(unit);
    case Level::DOMAIN:
      return Domain(unit);
    case Level::CLUSTER:
      break;
  }
  return Cluster(unit);
}

PixelSpot FloorplanLayout::MiddleOf(Place element) const {
  const PixelBox box = Element(element);
  return {static_cast<double>(box.x) + static_cast<double>(box.width) / 2,
          static_cast<double>(box.y) + static_cast<double>(box.height) / 2};
}

PixelSpot FloorplanLayout::Switch(Place cluster) const {
  // Cells end a gap before the next one begins.
  const double shift = static_cast<double>(Gap()) / 2;
  return {static_cast<double>(AlongX(columns.Switch(cluster.column))) - shift,
          static_cast<double>(AlongY(rows.Switch(cluster.row))) + shift};
}

double FloorplanLayout::SwitchRadius() const {
  const bool cross = columns.HasCross() && rows.HasCross();
  return std::max(1.0, (cross ? pitch : pitch / 2) / 2);
}

}  // namespace marrowfin
