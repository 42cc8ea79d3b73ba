#ifndef TESTS_VIEWER_PIECETESTING_H
#define TESTS_VIEWER_PIECETESTING_H

#include <vector>

#include "tests/viewer/Drawing.h"
#include "viewer/ArchPiece.h"

namespace marrowfin::testing {

std::vector<Vertex> VerticesOf(const ArchitecturePiece& piece);

// The piece's colour. Fails the test unless every vertex has it too.
Color ColorOf(ArchitecturePiece& piece);

void Paint(ArchitecturePiece& piece, const Color& color);

// The colours that the piece goes through in `steps` steps of fading.
std::vector<Color> Fade(ArchitecturePiece& piece, int steps);

// Grey, light to dark: all three channels alike.
std::vector<Color> Greys(const std::vector<int>& values);

// Fails the test unless one Draw makes exactly the five calls that draw the piece's arrays as
// `mode`.
void ExpectDraws(ArchitecturePiece& piece, const std::string& mode);

}  // namespace marrowfin::testing

#endif
