#include "tools/program/TextOutput.h"

#include <CLI/CLI.hpp>
#include <ostream>

#include "tools/program/ExistingOutput.h"
#include "tools/program/OutputApart.h"

namespace marrowfin {

void AddTextOutput(CLI::App& app, std::optional<std::string>& output, bool& force) {
  app.add_option_function<std::string>(
      "-o,--output",
      [&output](const std::string& path) {
        output = path == STANDARD_STREAM ? std::nullopt : std::optional(path);
      },
      "Write to this file, not to standard output (-)");
  AddForce(app, force);
}

MaybeFailure CheckTextOutput(const std::optional<std::string>& output, bool force,
                             const std::vector<std::string>& traces) {
  if (!output) {
    return std::nullopt;
  }
  for (const std::string& trace : traces) {
    if (MaybeFailure failure = CheckOutputApart(trace, *output)) {
      return failure;
    }
  }
  return CheckNotThere(*output, force);
}

MaybeFailure TextOutput::Open(const std::optional<std::string>& path) {
  text.reserve(2 * PIECE);
  if (!path) {
    return std::nullopt;
  }
  file.emplace();
  return file->Open(*path);
}

MaybeFailure TextOutput::Write() {
  if (file) {
    const auto* const bytes = reinterpret_cast<const uint8_t*>(text.data());
    if (const Fault fault = file->Sink().Write(bytes, text.size()).fault) {
      return OutputFailureOf(fault);
    }
  } else {
    console.out.write(text.data(), static_cast<std::streamsize>(text.size()));
    console.out.flush();
  }
  text.clear();
  return std::nullopt;
}

bool TextOutput::IsTaken() const { return file || console.out; }

MaybeFailure TextOutput::Commit() {
  if (MaybeFailure failure = Write()) {
    return failure;
  }
  return file ? file->Commit() : std::nullopt;
}

}  // namespace marrowfin
