#include <cctype>
#include <map>
#include <sstream>

#include "measure/NumberText.h"
#include "tools/program/ExpectAnswer.h"
#include "tools/program/ShellWord.h"
#include "tools/program/ViewCommand.h"

namespace marrowfin {
namespace {

// A name for a file out of the name of a rule: "no-message-goes-far".
std::string FileNameOf(const Rule& rule) {
  constexpr size_t LONGEST = 48;
  std::string name;
  for (const char c : rule.name) {
    const bool plain = isalnum(static_cast<unsigned char>(c)) != 0;
    if (plain && name.size() < LONGEST) {
      name += static_cast<char>(tolower(static_cast<unsigned char>(c)));
    } else if (!name.empty() && name.back() != '-') {
      name += '-';
    }
  }
  name.erase(name.find_last_not_of('-') + 1);
  return name.empty() ? "line-" + std::to_string(rule.line) : name;
}

// Each line of a text that may have several, with two blanks before.
std::string Indented(const std::string& text) {
  std::istringstream stream(text);
  std::string lines;
  for (std::string line; std::getline(stream, line);) {
    lines += line.empty() ? "" : "  " + line + "\n";
  }
  return lines;
}

bool Concerns(const Verdict& verdict, const Finding& finding) {
  return !finding.holds &&
         (verdict.outcome == Outcome::FAILS || verdict.outcome == Outcome::UNTOLD);
}

std::string FindingLines(const ExpectAnswer& answer, const Rule& rule, const Finding& finding) {
  std::string text = Indented(FindingPlaceText(finding));
  const std::string command = PictureCommand(answer, rule, finding);
  return text + (command.empty() ? "" : "  " + command + "\n");
}

std::string RuleText(const ExpectAnswer& answer, const Verdict& verdict) {
  const Rule& rule = answer.rules[verdict.rule];
  const bool isSingle = verdict.findings.size() == 1;
  std::string text = answer.file + ":" + std::to_string(rule.line) + ": " +
                     OutcomeName(verdict.outcome) + ": " + rule.name + ": " + VerdictText(verdict) +
                     "\n";
  for (const Finding& finding : verdict.findings) {
    if (Concerns(verdict, finding)) {
      text +=
          (isSingle ? "" : Indented(FindingText(finding))) + FindingLines(answer, rule, finding);
    }
  }
  if (verdict.outcome == Outcome::FAILS || verdict.outcome == Outcome::UNTOLD) {
    text += Indented(rule.description);
  }
  return text;
}

std::string ChangeText(const BaselineChange& change) {
  const auto number = [](const std::optional<double>& value) {
    return value ? PlainNumber(*value, 0) : std::string("not there");
  };
  return "  " + change.rule + ": " + change.measure + " is " + number(change.now) + ", was " +
         number(change.before) + "\n";
}

// Numbers that were there are told one by one, new ones of each rule together.
std::string ChangesText(const ExpectAnswer& answer, const std::string& baseline) {
  std::string text;
  std::map<std::string, size_t> fresh;
  for (const BaselineChange& change : answer.changes) {
    if (change.baseline == baseline && change.before) {
      text += ChangeText(change);
    } else if (change.baseline == baseline) {
      ++fresh[change.rule];
    }
  }
  for (const auto& [rule, count] : fresh) {
    text += "  " + rule + ": " + CountOf(count, "new measure") + "\n";
  }
  return text;
}

std::string BaselinesText(const ExpectAnswer& answer) {
  std::string text;
  for (const std::string& baseline : answer.baselines) {
    const std::string changes = ChangesText(answer, baseline);
    text += baseline + ": written" + (changes.empty() ? ", nothing changed" : "") + "\n" + changes;
  }
  return text;
}

}  // namespace

std::string PictureCommand(const ExpectAnswer& answer, const Rule& rule, const Finding& finding) {
  if (!finding.value || !finding.untold.empty() || !finding.witness.cycle) {
    return "";
  }
  return "marrowfin-trace render " + ShellWord(answer.trace) + " --natural --cycle " +
         std::to_string(*finding.witness.cycle) +
         (answer.shape.IsDrawable() ? " " + ShapeText(answer.shape) : "") + " -o " +
         FileNameOf(rule) + ".png";
}

std::string SumText(const ExpectAnswer& answer) {
  const VerdictCounts counts = CountVerdicts(answer.verdicts);
  std::string text = CountOf(answer.verdicts.size(), "rule") + ": " + CountText(counts.holds) +
                     (counts.holds == 1 ? " holds" : " hold");
  const auto add = [&](size_t count, const std::string& one, const std::string& many) {
    text += count == 0 ? "" : ", " + CountText(count) + (count == 1 ? one : many);
  };
  add(counts.fails, " fails", " fail");
  add(counts.untold, " cannot be told", " cannot be told");
  add(counts.skipped, " is skipped", " are skipped");
  return text;
}

std::string ExpectText(const ExpectAnswer& answer) {
  std::string text;
  for (const Verdict& verdict : answer.verdicts) {
    text += RuleText(answer, verdict);
  }
  return text + BaselinesText(answer) + answer.trace + ": " + SumText(answer) + "\n";
}

}  // namespace marrowfin
