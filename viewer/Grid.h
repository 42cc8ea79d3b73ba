#ifndef VIEWER_GRID_H
#define VIEWER_GRID_H

#include <list>
#include <map>
#include <vector>

#include "Marrowfin/Location.h"

class ArchitecturePiece;

// The drawn array: its layout in picture units, and all pieces.
//
// The array is square and laid out alike along both axes: `clusters` clusters of `domains` domains
// of `pes` processing elements, so positions run from 0 to clusters * domains * pes - 1. The counts
// are not checked; `domains` and `pes` must be at least 1. An outline grows with the domains but
// has the room of one switch among them: of three domains or more the last one reaches past it.
//
// The grid owns all pieces; the maps only point at them. The order of the fields is fixed.
class Grid {
 public:
  // Tells on standard error where it builds switches: the first position of each cluster.
  Grid(unsigned int c, unsigned int d, unsigned int p);

  // Tells `built` instead; null where nobody asks.
  typedef void (*SwitchBuilt)(unsigned int x, unsigned int y);
  Grid(unsigned int c, unsigned int d, unsigned int p, SwitchBuilt built);

  Grid(const Grid&) = delete;
  Grid& operator=(const Grid&) = delete;
  ~Grid();

  // Both visit the persistent pieces first, then the transient ones.
  void Draw();
  void Decay();

  // Removes and destroys the transient pieces that are finished.
  void Purge();

  // For a position along an axis: the cluster that holds it, the domain counted over the whole axis
  // and within the cluster, and the position within the domain.
  unsigned int Cluster(unsigned int i);
  unsigned int Domain(unsigned int i);
  unsigned int DomainInCluster(unsigned int i);
  unsigned int PEInDomain(unsigned int i);

  // Where the cluster, domain and processing element of a position begin, in picture units.
  unsigned int ClusterBase(unsigned int i);
  unsigned int DomainBase(unsigned int i);
  unsigned int PEBase(unsigned int i);

  // Not defined: a switch finds its own place.
  unsigned int SwitchBase(unsigned int i);

  unsigned int clusters;  // per axis
  unsigned int domains;   // per cluster and axis
  unsigned int pes;       // per domain and axis

  // Sizes and distances in picture units. An offset goes from one thing to the next of its kind.
  unsigned int peSize;
  unsigned int peSpace;
  unsigned int domainSpace;
  unsigned int clusterSpace;
  unsigned int border;
  unsigned int switchSize;
  unsigned int switchSpace;
  unsigned int peOffset;
  unsigned int domainSize;
  unsigned int domainOffset;
  unsigned int clusterSize;
  unsigned int clusterOffset;

  std::vector<ArchitecturePiece*> persistant;  // clusters, then processing elements, then switches
  std::list<ArchitecturePiece*> transient;     // in order of arrival

  // A processing element is filed under its own location. A cluster's switch is filed four rows and
  // four columns from the cluster's first position, whatever the cluster's size: that is where
  // simulators report its transmissions.
  std::map<Location, ArchitecturePiece*> processingElements;
  std::map<Location, ArchitecturePiece*> networkSwitches;
};

#endif
