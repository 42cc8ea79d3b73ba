#include "render/plot/Theme.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <vector>

namespace marrowfin::testing {
namespace {

typedef std::array<double, 3> Triple;
typedef std::array<Triple, 3> Matrix;

Triple Times(const Matrix& matrix, const Triple& v) {
  Triple product = {};
  for (size_t row = 0; row < 3; ++row) {
    for (size_t i = 0; i < 3; ++i) {
      product[row] += matrix[row][i] * v[i];
    }
  }
  return product;
}

Triple LinearOf(Color color) {
  Triple linear;
  const uint8_t parts[] = {color.red, color.green, color.blue};
  for (size_t i = 0; i < 3; ++i) {
    const double c = parts[i] / 255.0;
    linear[i] = c <= 0.04045 ? c / 12.92 : std::pow((c + 0.055) / 1.055, 2.4);
  }
  return linear;
}

// What people see: all colours, no red, no green. The matrices are those of Machado et al. for a
// whole deficiency, for linear light.
const std::vector<Matrix>& Eyes() {
  static const std::vector<Matrix> eyes = {{{{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}},
                                           {{{0.152286, 1.052583, -0.204868},
                                             {0.114503, 0.786281, 0.099216},
                                             {-0.003882, -0.048116, 1.051998}}},
                                           {{{0.367322, 0.860646, -0.227968},
                                             {0.280085, 0.672501, 0.047413},
                                             {-0.011820, 0.042940, 0.968881}}}};
  return eyes;
}

Triple OklabOf(Triple light) {
  for (double& c : light) {
    c = std::clamp(c, 0.0, 1.0);
  }
  Triple cones = Times({{{0.4122214708, 0.5363325363, 0.0514459929},
                         {0.2119034982, 0.6806995451, 0.1073969566},
                         {0.0883024619, 0.2817188376, 0.6299787005}}},
                       light);
  for (double& c : cones) {
    c = std::cbrt(c);
  }
  return Times({{{0.2104542553, 0.7936177850, -0.0040720468},
                 {1.9779984951, -2.4285922050, 0.4505937099},
                 {0.0259040371, 0.7827717662, -0.8086757660}}},
               cones);
}

// How far apart two colours are for whoever sees least of it.
double Difference(Color a, Color b) {
  double least = INFINITY;
  for (const Matrix& eye : Eyes()) {
    const Triple x = OklabOf(Times(eye, LinearOf(a)));
    const Triple y = OklabOf(Times(eye, LinearOf(b)));
    least = std::min(least, std::hypot(x[0] - y[0], x[1] - y[1], x[2] - y[2]));
  }
  return least;
}

// CIE lightness, 0 to 100.
double LightnessOf(Color color) {
  const Triple c = LinearOf(color);
  const double y = 0.2126729 * c[0] + 0.7151522 * c[1] + 0.0721750 * c[2];
  return y > 216.0 / 24389 ? 116 * std::cbrt(y) - 16 : y * 24389 / 27;
}

template <class Colors>
double SmallestStep(const Colors& colors) {
  double least = INFINITY;
  for (size_t i = 1; i < colors.size(); ++i) {
    least = std::min(least, Difference(colors[i - 1], colors[i]));
  }
  return least;
}

double SmallestPair(const Theme& theme, size_t count) {
  double least = INFINITY;
  for (size_t a = 0; a < count; ++a) {
    for (size_t b = 0; b < a; ++b) {
      least = std::min(least, Difference(theme.categories[a], theme.categories[b]));
    }
  }
  return least;
}

TEST(ThemeTest, StepsOfMapsAreToldApartByEverybody) {
  for (const Theme* theme : {&Theme::Light(), &Theme::Dark(), &Theme::Print()}) {
    EXPECT_GE(SmallestStep(theme->sequence), 0.0315) << theme->name;
    EXPECT_GE(SmallestStep(theme->divergence), 0.0315) << theme->name;
  }
}

TEST(ThemeTest, MapsFromLittleToMuchHaveEqualStepsOfLightness) {
  for (const auto& [theme, from, to] :
       {std::tuple<const Theme*, double, double>{&Theme::Light(), 95, 18},
        {&Theme::Dark(), 20, 96}}) {
    EXPECT_NEAR(LightnessOf(theme->sequence.front()), from, 1) << theme->name;
    EXPECT_NEAR(LightnessOf(theme->sequence.back()), to, 1) << theme->name;
    for (size_t i = 1; i < Theme::STEPS; ++i) {
      EXPECT_NEAR(LightnessOf(theme->sequence[i]) - LightnessOf(theme->sequence[i - 1]),
                  (to - from) / 15, 1)
          << theme->name << " " << i;
    }
  }
}

TEST(ThemeTest, CategoriesAreToldApartByEverybody) {
  EXPECT_GE(SmallestPair(Theme::Light(), 6), 0.142);
  EXPECT_GE(SmallestPair(Theme::Dark(), 6), 0.113);
  EXPECT_GE(SmallestPair(Theme::Light(), 12), 0.096);
  EXPECT_GE(SmallestPair(Theme::Dark(), 12), 0.090);
}

TEST(ThemeTest, ColoursThatLookAlikeWithoutGreenAreFound) {
  // A red and a green of the same lightness: the computation must see what such people do not.
  EXPECT_LT(Difference({200, 60, 60}, {110, 110, 40}), 0.12);
  EXPECT_GT(Difference({0, 0, 0}, {255, 255, 255}), 0.9);
}

TEST(ThemeTest, TextsAreReadOnPaperAndOnCells) {
  const auto contrast = [](Color a, Color b) {
    const auto light = [](Color c) {
      const Triple l = LinearOf(c);
      return 0.2126 * l[0] + 0.7152 * l[1] + 0.0722 * l[2] + 0.05;
    };
    return std::max(light(a), light(b)) / std::min(light(a), light(b));
  };
  for (const Theme* theme : {&Theme::Light(), &Theme::Dark(), &Theme::Print()}) {
    EXPECT_GE(contrast(theme->ink, theme->paper), 7) << theme->name;
    EXPECT_GE(contrast(theme->mute, theme->paper), 4.5) << theme->name;
    for (const Color& color : theme->sequence) {
      EXPECT_GE(contrast(InkOn(color), color), 4.5) << theme->name;
    }
  }
}

}  // namespace
}  // namespace marrowfin::testing
