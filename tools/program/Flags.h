#ifndef TOOLS_PROGRAM_FLAGS_H
#define TOOLS_PROGRAM_FLAGS_H

#include <CLI/CLI.hpp>
#include <string>

namespace marrowfin {

// What is wrong with `text` as a count of 64 bits in decimal digits, nothing where it is one;
// leading zeros are taken off, which would make a parser of flags take it for octal.
std::string MakeDecimal(std::string& text);

// An option that takes a count: decimal whatever zeros it begins with, and nothing else, where
// CLI11 by itself takes 010 for 8, -1 for 2^64 - 1, and what is too large for what fits. `Count` is
// an unsigned integer or an optional one; ranges are added as checks.
template <class Count>
CLI::Option* AddCount(CLI::App& app, const std::string& names, Count& count,
                      const std::string& help) {
  return app.add_option(names, count, help)->transform(CLI::Validator(MakeDecimal, ""));
}

// What is wrong with `text` as a size: a count of bytes, or with K, M, G or T behind it of that
// many powers of 1024; nothing where it is one, which is then brought into digits.
std::string MakeSize(std::string& text);

// An option that takes a size.
template <class Count>
CLI::Option* AddSize(CLI::App& app, const std::string& names, Count& size,
                     const std::string& help) {
  return app.add_option(names, size, help)
      ->transform(CLI::Validator(MakeSize, ""))
      ->type_name("SIZE");
}

// A flag that stands for the format in JSON, by which every subcommand knows it.
void AddJsonFormat(CLI::App& app, std::string& format, const std::string& name);

// What is wrong with `text` as a whole number of 32 bits with or without a sign, as the viewer's
// option -F takes it; nothing where it is one, which is then brought into the form that any parser
// takes for decimal.
std::string MakeSignedDecimal(std::string& text);

}  // namespace marrowfin

#endif
