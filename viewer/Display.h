#ifndef VIEWER_DISPLAY_H
#define VIEWER_DISPLAY_H

#include <GL/gl.h>

#include "viewer/Grid.h"

// How the array comes to be seen: what the window draws, and what is drawn without a window.
//
// The functions are in this header, so that whoever builds the sources of this folder by hand needs
// no further one.

// Along each axis, in picture units, with the border on both sides.
inline int PictureUnits(const Grid& grid) {
  return static_cast<int>(grid.clusters * grid.clusterOffset + 2 * grid.border);
}

// Fits a picture of `unitsX` by `unitsY` into `width` by `height` pixels.
inline void FitPicture(int width, int height, int unitsX, int unitsY) {
  glViewport(0, 0, width, height);
  glMatrixMode(GL_PROJECTION);
  glLoadIdentity();
  glOrtho(0.0, unitsX, 0.0, unitsY, -10000.0, 10000.0);
  glMatrixMode(GL_MODELVIEW);
  glLoadIdentity();
}

// Turns what is drawn next about the picture's middle: by `spin` degrees about the x axis and by
// fractions of that about the others.
inline void TurnPicture(int unitsX, int unitsY, float spin) {
  glTranslated(0.0, 0.0, -20.0);
  glTranslated(unitsX / 2, unitsY / 2, 0.0);
  glRotated(spin / 16.0F, 0.0, 0.0, 1.0);
  glRotated(spin / 4.0F, 0.0, 1.0, 0.0);
  glRotated(spin, 1.0, 0.0, 0.0);
  glTranslated(-unitsX / 2, -unitsY / 2, 0.0);
}

#endif
