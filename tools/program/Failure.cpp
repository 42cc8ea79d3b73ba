#include "tools/program/Failure.h"

#include <cctype>
#include <cerrno>
#include <cstring>

namespace marrowfin {
namespace {

std::string AsSentence(std::string text) {
  if (!text.empty()) {
    text[0] = static_cast<char>(toupper(static_cast<unsigned char>(text[0])));
    text += ".";
  }
  return text;
}

}  // namespace

Failure FailureOf(const Fault& fault) {
  if (IsOfStandardOutput(fault)) {
    Fault plain = fault;
    plain.remedy.clear();
    return {EXIT_SYSTEM, plain.Text(), "Make room, or name a file elsewhere with -o."};
  }
  Fault plain = fault;
  plain.remedy.clear();
  const bool unreadable = fault.kind == Fault::SYSTEM && fault.remedy.empty();
  return {EXIT_INPUT, plain.Text(),
          unreadable ? "Name a file that you may read." : AsSentence(fault.remedy)};
}

// A file may be called so, too: but none that is read is written.
bool IsOfStandardOutput(const Fault& fault) {
  return fault.kind == Fault::SYSTEM && fault.file == STANDARD_OUTPUT &&
         fault.reason.starts_with("cannot write");
}

Failure AnswerNo() { return {EXIT_NO, "", ""}; }

bool IsAnswerNo(const MaybeFailure& failure) {
  return failure && failure->code == EXIT_NO && failure->reason.empty();
}

MaybeFailure AsTrouble(MaybeFailure failure) {
  if (failure && failure->code == EXIT_INPUT && !IsAnswerNo(failure)) {
    failure->code = EXIT_TROUBLE;
  }
  return failure;
}

Failure OutputFailureOf(const Fault& fault) {
  Failure failure = FailureOf(fault);
  failure.code = EXIT_SYSTEM;
  return failure;
}

Failure SystemFailure(ExitCode code, const std::string& path, const std::string& act,
                      const std::string& remedy) {
  return {code, path + ": cannot " + act + ": " + std::strerror(errno), remedy};
}

}  // namespace marrowfin
