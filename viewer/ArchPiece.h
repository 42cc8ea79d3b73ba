#ifndef VIEWER_ARCHPIECE_H
#define VIEWER_ARCHPIECE_H

#include <GL/gl.h>

class Grid;
class Location;
class VisToolEvent;

// The colours of threads, red, green and blue each; thread number modulo 6 is the index.
extern const GLubyte threadColors[6][3];

// A drawable part of the array: vertices that never change, and one colour for all of them. Both
// are kept in the layout that OpenGL's vertex arrays take, so that drawing computes nothing.
//
// The order of the virtual operations and of the fields is fixed.
class ArchitecturePiece {
 public:
  // Room for `vCount` vertices, which the subclass fills. Every piece starts black.
  explicit ArchitecturePiece(unsigned int vCount);
  ArchitecturePiece(const ArchitecturePiece&) = delete;
  ArchitecturePiece& operator=(const ArchitecturePiece&) = delete;

  // One step of fading. Here: a grey piece moves halfway to light grey (220) and rests in 200 to
  // 240; a coloured one moves its red only, so that a processing element goes on showing which
  // thread fired it last.
  virtual void Decay();

  // Paints the piece in the colour of the event's thread.
  virtual void Update(const VisToolEvent* e);

  // Here: as filled quadrilaterals.
  virtual void Draw();

  // Whether the piece is to be removed. False here.
  virtual bool Finished();

  // Releases the vertices; the colours are left.
  virtual ~ArchitecturePiece();

  void SetColor(GLubyte r_, GLubyte g_, GLubyte b_);
  void GetColor(GLubyte& r_, GLubyte& g_, GLubyte& b_);

  unsigned int vertexCount;
  GLint* vertices;  // x, y, z of each vertex
  GLubyte* colors;  // red, green, blue of each vertex, all equal to the three below
  GLubyte r;
  GLubyte g;
  GLubyte b;

 protected:
  // The vertices and colours as OpenGL primitives of kind `mode`.
  void DrawAs(GLenum mode) const;

  // Sets vertex number `index`.
  void SetVertex(unsigned int index, unsigned int x, unsigned int y, unsigned int z);
};

// x is a column and y a row in the constructors below; the grid is not kept.

// A cube over a processing element's square.
class ProcessingElement : public ArchitecturePiece {
 public:
  ProcessingElement(unsigned int x, unsigned int y, Grid* grid);
  ~ProcessingElement() override;
};

// The square between the first two domains of a cluster. Fades towards white.
class NetworkSwitch : public ArchitecturePiece {
 public:
  // At the cluster of position (x, y).
  NetworkSwitch(unsigned int x, unsigned int y, Grid* grid);
  void Decay() override;
  ~NetworkSwitch() override;
};

// The outline of a cluster. Never fades.
class Cluster : public ArchitecturePiece {
 public:
  // At the cluster of position (x, y).
  Cluster(unsigned int x, unsigned int y, Grid* grid);
  void Decay() override;
  void Draw() override;
  ~Cluster() override;
};

// A message on its way: a red band of four lines from sender to receiver, which fades towards white
// and is finished after eleven steps. It is still drawn then: a message is in twelve pictures.
class Transmission : public ArchitecturePiece {
 public:
  Transmission(const Location& from, const Location& to, Grid* grid);
  void Decay() override;
  void Draw() override;
  bool Finished() override;
  ~Transmission() override;

  int age;  // steps of fading so far
};

#endif
