#ifndef MEASURE_NUMBERTEXT_H
#define MEASURE_NUMBERTEXT_H

#include <cstdint>
#include <string>

namespace marrowfin {

// Numbers as people read them, alike in tables, pictures and sentences, whatever the locale.

// "24,000,000".
std::string CountText(uint64_t count);

// A count that was kept as a real; of one that is larger than any the largest that there is.
uint64_t WholeOf(double value);

// Three digits that count: "0.00123", "1.23", "12.3", "123", "12,300"; "0" for zero. Of a whole
// number below a thousand what follows the point is left out; the minus is that of print, "−".
std::string ThreeDigits(double value);

// A share of 1 with three digits: "0.123 %", "99.9 %", "100 %".
std::string PercentText(double share);

// "(3, 7)": a column and a row.
std::string PlaceText(uint32_t column, uint32_t row);

// "1 fire", "2,000 fires": `word` takes an s.
std::string CountOf(uint64_t count, const std::string& word);

// "1 message", "0.5 messages": the same of what need not be whole, with three digits.
std::string AmountOf(double amount, const std::string& word);

}  // namespace marrowfin

#endif
