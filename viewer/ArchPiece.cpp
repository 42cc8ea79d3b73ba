#include "viewer/ArchPiece.h"

#include "Core/VisTool.h"
#include "Marrowfin/Location.h"
#include "viewer/Grid.h"

const GLubyte threadColors[6][3] = {
    {255, 1, 1}, {1, 255, 1}, {255, 255, 1}, {1, 1, 255}, {255, 1, 255}, {1, 255, 255},
};

namespace {

// Outlives its piece. In a function of its own, which keeps a name in every build: the search for
// leaks passes over what is allocated here and over nothing else of a piece.
[[gnu::noinline]] GLubyte* NewColorsThatStay(unsigned int vCount) {
  return new GLubyte[3 * vCount];
}

}  // namespace

ArchitecturePiece::ArchitecturePiece(unsigned int vCount)
    : vertexCount(vCount), vertices(new GLint[3 * vCount]), colors(NewColorsThatStay(vCount)) {
  SetColor(0, 0, 0);
}

ArchitecturePiece::~ArchitecturePiece() { delete[] vertices; }

void ArchitecturePiece::SetColor(GLubyte r_, GLubyte g_, GLubyte b_) {
  r = r_;
  g = g_;
  b = b_;
  for (unsigned int i = 0; i < vertexCount; ++i) {
    colors[3 * i] = r;
    colors[3 * i + 1] = g;
    colors[3 * i + 2] = b;
  }
}

void ArchitecturePiece::GetColor(GLubyte& r_, GLubyte& g_, GLubyte& b_) {
  r_ = r;
  g_ = g;
  b_ = b;
}

void ArchitecturePiece::SetVertex(unsigned int index, unsigned int x, unsigned int y,
                                  unsigned int z) {
  vertices[3 * index] = static_cast<GLint>(x);
  vertices[3 * index + 1] = static_cast<GLint>(y);
  vertices[3 * index + 2] = static_cast<GLint>(z);
}

void ArchitecturePiece::Update(const VisToolEvent* e) {
  const GLubyte* color = threadColors[e->thread % 6];
  SetColor(color[0], color[1], color[2]);
}

void ArchitecturePiece::Decay() {
  const int target = 220;
  GLubyte c[3];
  GetColor(c[0], c[1], c[2]);
  const bool doAllDecay = c[0] == c[1] && c[1] == c[2];
  for (GLubyte& channel : c) {
    if (channel > target + 20 || channel < target - 20) {
      channel = static_cast<GLubyte>((channel + target) / 2);
    }
    if (!doAllDecay) {
      break;
    }
  }
  SetColor(c[0], c[1], c[2]);
}

void ArchitecturePiece::DrawAs(GLenum mode) const {
  // Enabled every time and never disabled: each piece relies on nothing that was drawn before it.
  glEnableClientState(GL_VERTEX_ARRAY);
  glEnableClientState(GL_COLOR_ARRAY);
  glVertexPointer(3, GL_INT, 0, vertices);
  glColorPointer(3, GL_UNSIGNED_BYTE, 0, colors);
  glDrawArrays(mode, 0, static_cast<GLsizei>(vertexCount));
}

void ArchitecturePiece::Draw() { DrawAs(GL_QUADS); }

bool ArchitecturePiece::Finished() { return false; }

ProcessingElement::ProcessingElement(unsigned int x, unsigned int y, Grid* grid)
    : ArchitecturePiece(24) {
  const unsigned int x0 = grid->PEBase(x);
  const unsigned int y0 = grid->PEBase(y);
  const unsigned int s = grid->peSize;
  const unsigned int x1 = x0 + s;
  const unsigned int y1 = y0 + s;
  // Bottom and top.
  for (unsigned int face = 0; face < 2; ++face) {
    SetVertex(4 * face, x0, y0, face * s);
    SetVertex(4 * face + 1, x1, y0, face * s);
    SetVertex(4 * face + 2, x1, y1, face * s);
    SetVertex(4 * face + 3, x0, y1, face * s);
  }
  // The sides list their corners crosswise: each is drawn as two triangles that meet in a point.
  SetVertex(8, x0, y0, 0);
  SetVertex(9, x1, y0, 0);
  SetVertex(10, x0, y0, s);
  SetVertex(11, x1, y0, s);

  SetVertex(12, x1, y1, 0);
  SetVertex(13, x0, y1, 0);
  SetVertex(14, x1, y1, s);
  SetVertex(15, x0, y1, s);

  SetVertex(16, x0, y0, 0);
  SetVertex(17, x0, y0, s);
  SetVertex(18, x0, y1, 0);
  SetVertex(19, x0, y1, s);

  SetVertex(20, x1, y0, 0);
  SetVertex(21, x1, y0, s);
  SetVertex(22, x1, y1, 0);
  SetVertex(23, x1, y1, s);
}

ProcessingElement::~ProcessingElement() = default;

NetworkSwitch::NetworkSwitch(unsigned int x, unsigned int y, Grid* grid) : ArchitecturePiece(4) {
  const unsigned int x1 = grid->ClusterBase(x) + grid->domainOffset - grid->switchSpace;
  const unsigned int y1 = grid->ClusterBase(y) + grid->domainOffset - grid->switchSpace;
  const unsigned int x0 = x1 - grid->switchSize;
  const unsigned int y0 = y1 - grid->switchSize;
  SetVertex(0, x0, y0, 0);
  SetVertex(1, x1, y0, 0);
  SetVertex(2, x1, y1, 0);
  SetVertex(3, x0, y1, 0);
}

NetworkSwitch::~NetworkSwitch() = default;

void NetworkSwitch::Decay() {
  GLubyte c[3];
  GetColor(c[0], c[1], c[2]);
  for (GLubyte& channel : c) {
    channel = static_cast<GLubyte>((channel + 255) / 2);
  }
  SetColor(c[0], c[1], c[2]);
}

Cluster::Cluster(unsigned int x, unsigned int y, Grid* grid) : ArchitecturePiece(4) {
  // The outline stands a little outside what it encloses.
  const unsigned int margin = 2;
  const unsigned int x0 = grid->ClusterBase(x) - margin;
  const unsigned int x1 = grid->ClusterBase(x) + grid->clusterSize + margin;
  const unsigned int y0 = grid->ClusterBase(y) - margin;
  const unsigned int y1 = grid->ClusterBase(y) + grid->clusterSize + margin;
  SetVertex(0, x0, y0, 0);
  SetVertex(1, x1, y0, 0);
  SetVertex(2, x1, y1, 0);
  SetVertex(3, x0, y1, 0);
}

Cluster::~Cluster() = default;

void Cluster::Decay() {}

void Cluster::Draw() { DrawAs(GL_LINE_LOOP); }

Transmission::Transmission(const Location& from, const Location& to, Grid* grid)
    : ArchitecturePiece(8), age(0) {
  const unsigned int fx = grid->PEBase(from.column);
  const unsigned int fy = grid->PEBase(from.row);
  const unsigned int tx = grid->PEBase(to.column);
  const unsigned int ty = grid->PEBase(to.row);
  // One line from each corner of a unit square.
  for (unsigned int line = 0; line < 4; ++line) {
    const unsigned int dx = line % 2;
    const unsigned int dy = line / 2;
    SetVertex(2 * line, fx + dx, fy + dy, 0);
    SetVertex(2 * line + 1, tx + dx, ty + dy, 0);
  }
  SetColor(255, 0, 0);
}

Transmission::~Transmission() = default;

void Transmission::Decay() {
  ++age;
  GLubyte c[3];
  GetColor(c[0], c[1], c[2]);
  for (GLubyte& channel : c) {
    channel = static_cast<GLubyte>((4U * channel + 255U) / 5U);
  }
  SetColor(c[0], c[1], c[2]);
}

bool Transmission::Finished() { return age > 10; }

void Transmission::Draw() { DrawAs(GL_LINES); }
