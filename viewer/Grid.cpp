#include "viewer/Grid.h"

#include <cstdio>

#include "viewer/ArchPiece.h"

namespace {

void PrintPosition(unsigned int x, unsigned int y) {
  fprintf(stderr, "%d %d\n", static_cast<int>(x), static_cast<int>(y));
}

}  // namespace

Grid::Grid(unsigned int c, unsigned int d, unsigned int p) : Grid(c, d, p, PrintPosition) {}

Grid::Grid(unsigned int c, unsigned int d, unsigned int p, SwitchBuilt built)
    : clusters(c),
      domains(d),
      pes(p),
      peSize(6),
      peSpace(2),
      domainSpace(4),
      clusterSpace(8),
      border(20),
      switchSize(10),
      switchSpace(2),
      peOffset(peSize + peSpace),
      domainSize(p * peSize + (p - 1) * peSpace),
      domainOffset(domainSize + domainSpace + switchSize + switchSpace),
      clusterSize(d * domainSize + (d - 1) * domainSpace + switchSize + switchSpace),
      clusterOffset(clusterSize + clusterSpace) {
  const unsigned int positionsPerCluster = domains * pes;
  const unsigned int positions = clusters * positionsPerCluster;
  for (unsigned int i = 0; i < clusters; ++i) {
    for (unsigned int j = 0; j < clusters; ++j) {
      persistant.push_back(new ::Cluster(i * positionsPerCluster, j * positionsPerCluster, this));
    }
  }
  for (unsigned int x = 0; x < positions; ++x) {
    for (unsigned int y = 0; y < positions; ++y) {
      ArchitecturePiece* piece = new ProcessingElement(x, y, this);
      processingElements[Location(y, x)] = piece;
      persistant.push_back(piece);
    }
  }
  for (unsigned int x = 0; x < positions; x += positionsPerCluster) {
    for (unsigned int y = 0; y < positions; y += positionsPerCluster) {
      ArchitecturePiece* piece = new NetworkSwitch(x, y, this);
      if (built != nullptr) {
        built(x, y);
      }
      networkSwitches[Location(y + 4, x + 4)] = piece;
      persistant.push_back(piece);
    }
  }
}

Grid::~Grid() {
  for (ArchitecturePiece* piece : persistant) {
    delete piece;
  }
  for (ArchitecturePiece* piece : transient) {
    delete piece;
  }
}

void Grid::Draw() {
  for (ArchitecturePiece* piece : persistant) {
    piece->Draw();
  }
  for (ArchitecturePiece* piece : transient) {
    piece->Draw();
  }
}

void Grid::Decay() {
  for (ArchitecturePiece* piece : persistant) {
    piece->Decay();
  }
  for (ArchitecturePiece* piece : transient) {
    piece->Decay();
  }
}

void Grid::Purge() {
  std::vector<std::list<ArchitecturePiece*>::iterator> toDelete;
  for (auto position = transient.begin(); position != transient.end(); ++position) {
    if ((*position)->Finished()) {
      toDelete.push_back(position);
      delete *position;
    }
  }
  for (const auto& position : toDelete) {
    transient.erase(position);
  }
}

unsigned int Grid::Cluster(unsigned int i) { return i / (domains * pes); }

unsigned int Grid::Domain(unsigned int i) { return i / pes; }

unsigned int Grid::DomainInCluster(unsigned int i) { return Domain(i) % domains; }

unsigned int Grid::PEInDomain(unsigned int i) { return i % pes; }

unsigned int Grid::ClusterBase(unsigned int i) { return Cluster(i) * clusterOffset + border; }

unsigned int Grid::DomainBase(unsigned int i) {
  return ClusterBase(i) + DomainInCluster(i) * domainOffset;
}

unsigned int Grid::PEBase(unsigned int i) { return DomainBase(i) + PEInDomain(i) * peOffset; }
