#include "render/ArrayPieces.h"

#include <algorithm>

#include "viewer/ArchPiece.h"
#include "viewer/Display.h"

namespace marrowfin {
namespace {

Location LocationOf(Place place) { return Location(place.row, place.column); }

void Paint(ArchitecturePiece& piece, Color color) {
  if (piece.r != color.red || piece.g != color.green || piece.b != color.blue) {
    piece.SetColor(color.red, color.green, color.blue);
  }
}

void PaintAll(const std::vector<ArchitecturePiece*>& pieces, const std::vector<Color>& colors) {
  for (size_t i = 0; i < pieces.size(); ++i) {
    Paint(*pieces[i], colors[i]);
  }
}

// A piece leaves its colours behind when it goes, which in a film of many messages would be all
// memory.
void TakeColors(ArchitecturePiece& piece) {
  delete[] piece.colors;
  piece.colors = nullptr;
}

}  // namespace

ArrayPieces::ArrayPieces(const ArrayShape& shape)
    : grid(shape.clusters.columns, shape.domains.columns, shape.pes.columns, nullptr) {
  elements.reserve(shape.Elements());
  for (size_t i = 0; i < shape.Elements(); ++i) {
    elements.push_back(grid.processingElements.at(LocationOf(shape.ElementAt(i))));
  }
  switches.reserve(shape.Switches());
  for (size_t i = 0; i < shape.Switches(); ++i) {
    switches.push_back(grid.networkSwitches.at(LocationOf(shape.SwitchAt(i))));
  }
}

ArrayPieces::~ArrayPieces() {
  RemoveMessages();
  for (ArchitecturePiece* piece : grid.persistant) {
    TakeColors(*piece);
  }
}

void ArrayPieces::RemoveMessages() {
  for (ArchitecturePiece* piece : grid.transient) {
    TakeColors(*piece);
    delete piece;
  }
  grid.transient.clear();
}

void ArrayPieces::Show(const ArrayState& state) {
  PaintAll(elements, state.elements);
  PaintAll(switches, state.switches);
  RemoveMessages();
  for (const LiveMessage& message : state.messages) {
    auto* const band = new Transmission(LocationOf(message.from), LocationOf(message.to), &grid);
    grid.transient.push_back(band);
    band->age = static_cast<int>(state.AgeOf(message));
    Paint(*band, state.ColorOf(message));
  }
}

int ArrayPieces::Units() const { return PictureUnits(grid); }

}  // namespace marrowfin
