#include "bench/trace/Table.h"

#include <cstdio>

namespace marrowfin::bench {

namespace {

int notMet = 0;

void Line(const std::string& what, double value, const std::string& unit, const char* relation,
          double bar, bool met) {
  printf("| %-58s | %9.4g %-5s | %s %-5.4g | %s |\n", what.c_str(), value, unit.c_str(), relation,
         bar, met ? "met" : "NOT met");
  fflush(stdout);
  notMet += met ? 0 : 1;
}

}  // namespace

void AtLeast(const std::string& what, double value, const std::string& unit, double bar) {
  Line(what, value, unit, ">=", bar, value >= bar);
}

void AtMost(const std::string& what, double value, const std::string& unit, double bar) {
  Line(what, value, unit, "<=", bar, value <= bar);
}

void Note(const std::string& what, double value, const std::string& unit) {
  printf("| %-58s | %9.4g %-5s |          |      |\n", what.c_str(), value, unit.c_str());
  fflush(stdout);
}

void Heading(const std::string& text) {
  printf("\n%s\n\n| %-58s | %-15s | %-8s | %-4s |\n|---|---|---|---|\n", text.c_str(), "what",
         "measured", "bar", "");
  fflush(stdout);
}

int NotMet() { return notMet; }

}  // namespace marrowfin::bench
