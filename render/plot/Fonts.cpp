#include "render/plot/Fonts.h"

#include <cairo-ft.h>
#include <ft2build.h>
#include FT_FREETYPE_H

#include <cstdint>
#include <new>

#include "trace/base/Utf8.h"

// The bytes of the files are put into the program as they are.
__asm__(
    ".section .rodata\n"
    ".balign 16\n"
    ".global marrowfin_font_regular\n"
    "marrowfin_font_regular: .incbin \"" MARROWFIN_FONT_FOLDER
    "/DejaVuSans.ttf\"\n"
    ".global marrowfin_font_regular_end\n"
    "marrowfin_font_regular_end:\n"
    ".balign 16\n"
    ".global marrowfin_font_bold\n"
    "marrowfin_font_bold: .incbin \"" MARROWFIN_FONT_FOLDER
    "/DejaVuSans-Bold.ttf\"\n"
    ".global marrowfin_font_bold_end\n"
    "marrowfin_font_bold_end:\n"
    ".previous\n");

extern "C" {
extern const uint8_t marrowfin_font_regular[];
extern const uint8_t marrowfin_font_regular_end[];
extern const uint8_t marrowfin_font_bold[];
extern const uint8_t marrowfin_font_bold_end[];
}

namespace marrowfin {
namespace {

// The fonts are sound, being part of the program: there is no memory where one cannot be loaded,
// and Cairo looks at no face that is none.
cairo_font_face_t* Load(const uint8_t* begin, const uint8_t* end) {
  static FT_Library library = nullptr;
  FT_Face face = nullptr;
  if ((library == nullptr && FT_Init_FreeType(&library) != 0) ||
      FT_New_Memory_Face(library, begin, end - begin, 0, &face) != 0) {
    throw std::bad_alloc();
  }
  return cairo_ft_font_face_create_for_ft_face(face, FT_LOAD_NO_HINTING | FT_LOAD_NO_BITMAP);
}

cairo_scaled_font_t* Scaled(Weight weight, double size) {
  cairo_font_options_t* const options = cairo_font_options_create();
  cairo_font_options_set_hint_style(options, CAIRO_HINT_STYLE_NONE);
  cairo_font_options_set_hint_metrics(options, CAIRO_HINT_METRICS_OFF);
  cairo_font_options_set_antialias(options, CAIRO_ANTIALIAS_GRAY);
  cairo_matrix_t font;
  cairo_matrix_t page;
  cairo_matrix_init_scale(&font, size, size);
  cairo_matrix_init_identity(&page);
  cairo_scaled_font_t* const scaled =
      cairo_scaled_font_create(FontFace(weight), &font, &page, options);
  cairo_font_options_destroy(options);
  return scaled;
}

}  // namespace

cairo_font_face_t* FontFace(Weight weight) {
  static cairo_font_face_t* const regular =
      Load(marrowfin_font_regular, marrowfin_font_regular_end);
  static cairo_font_face_t* const bold = Load(marrowfin_font_bold, marrowfin_font_bold_end);
  return weight == Weight::BOLD ? bold : regular;
}

double TextWidth(const std::string& text, Weight weight, double size) {
  cairo_scaled_font_t* const font = Scaled(weight, size);
  cairo_text_extents_t extents;
  cairo_scaled_font_text_extents(font, AsUtf8(text).c_str(), &extents);
  cairo_scaled_font_destroy(font);
  return extents.x_advance;
}

}  // namespace marrowfin
