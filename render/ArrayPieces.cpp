#include "render/ArrayPieces.h"

#include <algorithm>

#include "viewer/ArchPiece.h"
#include "viewer/Display.h"

namespace marrowfin {
namespace {

constexpr unsigned CORNERS = 4;  // of a square
constexpr unsigned TOP =
    CORNERS;  // the first vertex of an element's top, which is behind its bottom

// A piece leaves its colours behind when it goes, which in a film of many messages would be all
// memory.
template <class Piece>
class Passing {
 public:
  template <class... Arguments>
  explicit Passing(Arguments... arguments) : piece(arguments...) {}
  Passing(const Passing&) = delete;
  Passing& operator=(const Passing&) = delete;
  ~Passing() { delete[] piece.colors; }

  Piece piece;
};

Location LocationOf(Place place) { return Location(place.row, place.column); }

void Number(ArchitecturePiece& piece, size_t number) {
  piece.SetColor(static_cast<GLubyte>(number >> 16), static_cast<GLubyte>(number >> 8),
                 static_cast<GLubyte>(number));
}

}  // namespace

void PieceBatch::Add(const ArchitecturePiece& piece, unsigned first, unsigned count) {
  vertices.insert(vertices.end(), piece.vertices + 3 * first, piece.vertices + 3 * (first + count));
  colors.insert(colors.end(), piece.colors + 3 * first, piece.colors + 3 * (first + count));
}

void PieceBatch::Clear() {
  vertices.clear();
  colors.clear();
}

void PieceBatch::Draw(GLenum mode) const {
  glEnableClientState(GL_VERTEX_ARRAY);
  glEnableClientState(GL_COLOR_ARRAY);
  glVertexPointer(3, GL_INT, 0, vertices.data());
  glColorPointer(3, GL_UNSIGNED_BYTE, 0, colors.data());
  glDrawArrays(mode, 0, static_cast<GLsizei>(vertices.size() / 3));
}

ArrayPieces::ArrayPieces(const ArrayShape& shape)
    : shape(shape), layout(0, shape.domains.columns, shape.pes.columns, nullptr) {
  layout.clusters = shape.clusters.columns;
}

int ArrayPieces::Units() const { return PictureUnits(layout); }

std::vector<uint32_t> ArrayPieces::ElementBases() const {
  std::vector<uint32_t> bases;
  for (uint32_t i = 0; i < shape.Columns(); ++i) {
    bases.push_back(layout.PEBase(i));
  }
  return bases;
}

uint32_t ArrayPieces::FirstSwitch() const {
  return FIRST_ELEMENT + static_cast<uint32_t>(shape.Elements());
}

void ArrayPieces::DrawNumbers(Sides sides) const {
  DrawOutlines();
  DrawElements(sides);
  DrawSwitches();
}

void ArrayPieces::DrawOutlines() const {
  for (uint32_t x = 0; x < shape.clusters.columns; ++x) {
    for (uint32_t y = 0; y < shape.clusters.rows; ++y) {
      const Place first = shape.FirstOfCluster({x, y});
      Passing<::Cluster> outline(first.column, first.row, &layout);
      Number(outline.piece, OUTLINE);
      outline.piece.Draw();
    }
  }
}

void ArrayPieces::DrawElements(Sides sides) const {
  PieceBatch tops;
  for (uint32_t x = 0; x < shape.Columns(); ++x) {
    for (uint32_t y = 0; y < shape.Rows(); ++y) {
      Passing<ProcessingElement> element(x, y, &layout);
      Number(element.piece, FIRST_ELEMENT + shape.ElementNumber({x, y}));
      if (sides == TOPS) {
        tops.Add(element.piece, TOP, CORNERS);
      } else {
        element.piece.Draw();
      }
    }
  }
  tops.Draw(GL_QUADS);
}

void ArrayPieces::DrawSwitches() const {
  for (uint32_t x = 0; x < shape.clusters.columns; ++x) {
    for (uint32_t y = 0; y < shape.clusters.rows; ++y) {
      const Place first = shape.FirstOfCluster({x, y});
      Passing<NetworkSwitch> filed(first.column, first.row, &layout);
      Number(filed.piece, FirstSwitch() + shape.SwitchNumber(shape.SwitchOf({x, y})));
      filed.piece.Draw();
    }
  }
}

void ArrayPieces::DrawMessages(const ArrayState& state) {
  messages.Clear();
  for (const LiveMessage& message : state.messages) {
    Passing<Transmission> band(LocationOf(message.from), LocationOf(message.to), &layout);
    const Color color = state.ColorOf(message);
    band.piece.SetColor(color.red, color.green, color.blue);
    messages.Add(band.piece, 0, band.piece.vertexCount);
  }
  messages.Draw(GL_LINES);
}

}  // namespace marrowfin
