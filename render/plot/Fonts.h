#ifndef RENDER_PLOT_FONTS_H
#define RENDER_PLOT_FONTS_H

#include <cairo.h>

#include <string>

namespace marrowfin {

enum class Weight { REGULAR, BOLD };

// The letters of all plots. They are part of the program, so that the same text takes the same room
// and has the same outline on every machine, whatever fonts that has.
//
// The faces live as long as the program; one thread at a time.
cairo_font_face_t* FontFace(Weight weight);

// How wide a text is, in points. Hinting and rounding to pixels are off, so this is the same for
// every kind of output.
double TextWidth(const std::string& text, Weight weight, double size);

}  // namespace marrowfin

#endif
