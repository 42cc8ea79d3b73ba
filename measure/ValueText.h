#ifndef MEASURE_VALUETEXT_H
#define MEASURE_VALUETEXT_H

#include <string>

#include "measure/RunDiff.h"

namespace marrowfin {

// A value of a measure, or a change of one, as people read it: shares in percent, whole numbers
// with all digits, others with three. The minus is that of print, "−".
std::string ValueText(Quantity quantity, double value);

// The text of a change with its sign: "+12", "−3".
std::string SignedText(double change, const std::string& text);

}  // namespace marrowfin

#endif
