#include "tests/trace/ask/ViewerModel.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace marrowfin::testing {

ViewerModel::ViewerModel(const std::string& traceName, const ArrayShape& shape, uint64_t skipTo)
    : shape(shape),
      grid(new Grid(shape.clusters.columns, shape.domains.columns, shape.pes.columns)) {
  vis.inFilename = traceName;
  vis.InitializeForRead();
  vis.SkipTo(skipTo);
}

bool ViewerModel::Step() {
  ++step;
  grid->Purge();
  grid->Decay();
  for (;;) {
    VisToolEvent* raw = nullptr;
    if (vis.ReadEvent(raw) != File::SUCCESS) {
      return false;
    }
    const std::unique_ptr<VisToolEvent> e(raw);
    if (const auto* send = dynamic_cast<MessageSend*>(raw)) {
      grid->transient.push_back(new Transmission(send->from, send->to, grid.get()));
    } else if (const auto* fire = dynamic_cast<PEFire*>(raw)) {
      grid->processingElements.at(fire->l)->Update(fire);
      fired[{fire->l.row, fire->l.column}] = {step, fire->thread};
    } else if (const auto* transmission = dynamic_cast<NetworkSwitchTransmission*>(raw)) {
      grid->networkSwitches.at(transmission->l)->Update(transmission);
      switched[{transmission->l.row, transmission->l.column}] = {step, transmission->thread};
    }
    if (e->cyc != currentCycle) {
      currentCycle = e->cyc;
      return true;
    }
  }
}

Color ViewerModel::ColorOf(ArchitecturePiece* piece) const {
  Color color;
  piece->GetColor(color.red, color.green, color.blue);
  return color;
}

template <class Codes>
void ViewerModel::ExpectCode(const Touches& touches, const Location& location, uint8_t code) const {
  const auto found = touches.find({location.row, location.column});
  if (found == touches.end()) {
    ASSERT_EQ(code, Codes::UNTOUCHED) << "row " << location.row << ", column " << location.column;
    return;
  }
  ASSERT_NE(code, Codes::UNTOUCHED) << "row " << location.row << ", column " << location.column;
  ASSERT_EQ(Codes::Thread(code), found->second.thread % 6);
  ASSERT_EQ(Codes::Age(code), std::min<uint64_t>(step - found->second.step, Codes::OLDEST));
}

void ViewerModel::ExpectEqual(const ArrayState& state) const {
  ASSERT_EQ(state.step, step);
  const uint32_t side = shape.Columns();
  ASSERT_EQ(state.elements.size(), static_cast<size_t>(side) * side);
  for (uint32_t row = 0; row < side; ++row) {
    for (uint32_t column = 0; column < side; ++column) {
      ASSERT_TRUE(ColorOf(grid->processingElements.at(Location(row, column))) ==
                  state.elements[row * side + column])
          << "element at column " << column << ", row " << row << ", step " << state.step;
      ExpectCode<ElementCodes>(fired, Location(row, column),
                               state.elementCodes[row * side + column]);
    }
  }
  ASSERT_EQ(state.switches.size(), grid->networkSwitches.size());
  for (uint32_t row = 0; row < shape.clusters.rows; ++row) {
    for (uint32_t column = 0; column < shape.clusters.columns; ++column) {
      const Location place(4 + row * shape.ClusterRows(), 4 + column * shape.ClusterColumns());
      ASSERT_TRUE(ColorOf(grid->networkSwitches.at(place)) ==
                  state.switches[row * shape.clusters.columns + column])
          << "switch " << column << ", " << row << ", step " << state.step;
      ExpectCode<SwitchCodes>(switched, place,
                              state.switchCodes[row * shape.clusters.columns + column]);
    }
  }
  ASSERT_EQ(state.messages.size(), grid->transient.size()) << "step " << state.step;
  auto live = grid->transient.begin();
  for (const LiveMessage& message : state.messages) {
    auto* shown = dynamic_cast<Transmission*>(*live++);
    ASSERT_TRUE(ColorOf(shown) == state.ColorOf(message)) << "record " << message.record;
    ASSERT_EQ(static_cast<uint64_t>(shown->age), state.AgeOf(message));
    ASSERT_EQ(static_cast<unsigned>(shown->vertices[0]), grid->PEBase(message.from.column));
    ASSERT_EQ(static_cast<unsigned>(shown->vertices[1]), grid->PEBase(message.from.row));
    ASSERT_EQ(static_cast<unsigned>(shown->vertices[3]), grid->PEBase(message.to.column));
    ASSERT_EQ(static_cast<unsigned>(shown->vertices[4]), grid->PEBase(message.to.row));
  }
}

}  // namespace marrowfin::testing
