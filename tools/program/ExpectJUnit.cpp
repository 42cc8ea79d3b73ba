#include <string_view>

#include "tools/program/ExpectAnswer.h"
#include "trace/base/Utf8.h"

namespace marrowfin {
namespace {

// A text as XML may have it: what is no UTF-8 is mended, and of control characters none is left but
// line feeds, which are `lineFeed`: values of attributes lose those that stand for themselves.
std::string Escaped(const std::string& text, const char* lineFeed = "\n") {
  std::string escaped;
  for (const char c : AsUtf8(text)) {
    const auto byte = static_cast<unsigned char>(c);
    switch (c) {
      case '&':
        escaped += "&amp;";
        break;
      case '<':
        escaped += "&lt;";
        break;
      case '>':
        escaped += "&gt;";
        break;
      case '"':
        escaped += "&quot;";
        break;
      case '\n':
        escaped += lineFeed;
        break;
      default:
        escaped += byte < 0x20 || byte == 0x7F ? ' ' : c;
    }
  }
  // U+FFFE and U+FFFF are characters that XML does not have.
  for (const std::string_view none : {"\xEF\xBF\xBE", "\xEF\xBF\xBF"}) {
    for (size_t at = escaped.find(none); at != std::string::npos; at = escaped.find(none, at)) {
      escaped.replace(at, none.size(), "?");
    }
  }
  return escaped;
}

std::string Attribute(const std::string& name, const std::string& value) {
  return " " + name + "=\"" + Escaped(value, "&#10;") + "\"";
}

std::string Counts(const VerdictCounts& counts) {
  const size_t all = counts.holds + counts.fails + counts.untold + counts.skipped;
  return Attribute("tests", std::to_string(all)) +
         Attribute("failures", std::to_string(counts.fails)) +
         Attribute("errors", std::to_string(counts.untold)) +
         Attribute("skipped", std::to_string(counts.skipped));
}

// All that is known of the numbers that are not as wanted.
std::string Details(const ExpectAnswer& answer, const Rule& rule, const Verdict& verdict) {
  std::string text;
  for (const Finding& finding : verdict.findings) {
    if (finding.holds) {
      continue;
    }
    text += FindingText(finding) + "\n";
    for (const std::string& line :
         {FindingPlaceText(finding), PictureCommand(answer, rule, finding)}) {
      text += line.empty() ? "" : line + "\n";
    }
  }
  text += answer.file + ":" + std::to_string(rule.line) + "\n";
  return text + (rule.description.empty() ? "" : rule.description + "\n");
}

std::string CaseBody(const ExpectAnswer& answer, const Verdict& verdict) {
  const Rule& rule = answer.rules[verdict.rule];
  const std::string message = Attribute("message", VerdictText(verdict));
  switch (verdict.outcome) {
    case Outcome::FAILS:
      return "      <failure" + message + Attribute("type", "fails") + ">" +
             Escaped(Details(answer, rule, verdict)) + "</failure>\n";
    case Outcome::UNTOLD:
      return "      <error" + message + Attribute("type", "untold") + ">" +
             Escaped(Details(answer, rule, verdict)) + "</error>\n";
    case Outcome::SKIPPED:
      return "      <skipped" + message + "/>\n";
    case Outcome::HOLDS:
      break;
  }
  return "      <system-out>" + Escaped(VerdictText(verdict)) + "</system-out>\n";
}

}  // namespace

std::string ExpectJUnit(const ExpectAnswer& answer) {
  const VerdictCounts counts = CountVerdicts(answer.verdicts);
  std::string text = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";
  text += "<testsuites" + Counts(counts) + ">\n";
  text += "  <testsuite" + Attribute("name", answer.file) + Counts(counts) + ">\n";
  for (const Verdict& verdict : answer.verdicts) {
    const Rule& rule = answer.rules[verdict.rule];
    text += "    <testcase" + Attribute("classname", answer.trace) + Attribute("name", rule.name) +
            Attribute("file", answer.file) + Attribute("line", std::to_string(rule.line)) + ">\n" +
            CaseBody(answer, verdict) + "    </testcase>\n";
  }
  return text + "  </testsuite>\n</testsuites>\n";
}

}  // namespace marrowfin
