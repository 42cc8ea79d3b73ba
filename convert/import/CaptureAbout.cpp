#include "convert/import/CaptureAbout.h"

#include <algorithm>
#include <string>

namespace marrowfin {
namespace {

// One device is a field of tiles, of as many columns and rows as the capture tells of. Several lie
// as they do in the trace, each a cluster.
AboutArray ArrayOf(const ArrayLayout& layout) {
  AboutArray array;
  const PerAxis one = {1, 1};
  const PerAxis devices = layout.DevicesPerAxis();
  const bool several = layout.Devices().size() > 1;
  array.shape = several ? ArrayShape(devices, one, {layout.Pitch(), layout.Pitch()})
                        : ArrayShape(one, one, layout.Extent());
  array.gaps = several;
  return array;
}

void AddThreads(const Capture& capture, const Account& account, About& about) {
  for (uint32_t thread = 0; thread < capture.processors.size(); ++thread) {
    if (capture.processors[thread].events != 0) {
      about.threads[thread] = {capture.processors[thread].name, "processor"};
    }
  }
  if (account.frameRecords != 0) {
    about.threads[account.frameThread] = {"frame", "records before and behind, which draw nothing"};
  }
}

// Collects the tiles on which events were recorded, and those at the far ends of their messages.
class TileNames {
 public:
  TileNames(const ArrayLayout& layout, About& about) : layout(layout), about(about) {}

  void Add(uint32_t device, Tile tile) {
    const Place place = {layout.FirstColumn(device) + tile.column,
                         layout.FirstRow(device) + tile.row};
    if (about.places.size() <= mostNamedTiles && !about.places.contains(place)) {
      about.places[place] = "device " + std::to_string(device) + ", tile " +
                            std::to_string(tile.column) + " " + std::to_string(tile.row);
    }
  }

 private:
  const ArrayLayout& layout;
  About& about;
};

void AddTiles(const Capture& capture, const ArrayLayout& layout, About& about) {
  TileNames names(layout, about);
  for (const CaptureEvent& event : capture.events) {
    names.Add(event.device, event.tile);
    if (IsMessage(event.kind) && event.kind != KIND_MULTICAST) {
      names.Add(event.farDevice, event.first);
    }
  }
  if (about.places.size() > mostNamedTiles) {
    about.places.clear();
  }
}

}  // namespace

About AboutCapture(const Capture& capture, const ArrayLayout& layout, const Account& account) {
  About about;
  about.array = ArrayOf(layout);
  AddThreads(capture, account, about);
  if (layout.Devices().size() > 1) {
    AddTiles(capture, layout, about);
  }
  return about;
}

}  // namespace marrowfin
