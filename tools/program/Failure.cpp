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
  if (fault.kind == Fault::SYSTEM && fault.file == STANDARD_OUTPUT) {
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
