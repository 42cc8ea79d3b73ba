#include "measure/expect/ReadRules.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <filesystem>
#include <limits>
#include <map>
#include <memory>
#include <utility>

// The library for TOML: errors as values, since nothing here throws.
#define TOML_EXCEPTIONS 0
#include <toml++/toml.h>

#include "measure/expect/MeasureTable.h"
#include "trace/base/NearestWord.h"
#include "trace/read/PositionedFile.h"
#include "trace/read/TomlText.h"

namespace marrowfin {
namespace {

constexpr uint64_t LARGEST = 1 << 20;  // bytes: nobody keeps more rules than that
constexpr int64_t FORMAT = 1;

// The keys of a rule, and whether [defaults] may have them for all.
struct KeyName {
  const char* name;
  bool isDefault;
};
constexpr KeyName RULE_KEYS[] = {
    {"name", false},     {"description", false}, {"measure", false}, {"except", true},
    {"at_least", false}, {"at_most", false},     {"above", false},   {"below", false},
    {"equals", false},   {"within", true},       {"baseline", true}, {"cycles", true},
    {"every", true},     {"region", true},       {"thread", true},   {"kind", true},
    {"where", true},     {"to", false},          {"skip", true},     {"optional", true}};

std::vector<std::string> KeysOf(bool ofDefaults) {
  std::vector<std::string> names;
  for (const KeyName& key : RULE_KEYS) {
    if (key.isDefault || !ofDefaults) {
      names.push_back(key.name);
    }
  }
  return names;
}

Fault Refused(const std::string& name, size_t line, const std::string& reason,
              const std::string& remedy = "mend the line") {
  Fault fault;
  fault.kind = Fault::REFUSED_INPUT;
  fault.file = name;
  fault.reason = "line " + std::to_string(line) + ": " + reason;
  fault.remedy = remedy;
  return fault;
}

bool HasControls(const std::string& text, std::string_view allowed) {
  return std::any_of(text.begin(), text.end(), [&](char c) {
    const auto byte = static_cast<unsigned char>(c);
    return (byte < 0x20 || byte == 0x7F) && allowed.find(c) == std::string_view::npos;
  });
}

// "5 %", "105%": the share.
std::optional<double> ShareOf(std::string text) {
  if (!text.ends_with('%')) {
    return std::nullopt;
  }
  text.pop_back();
  text.erase(text.find_last_not_of(' ') + 1);
  double number = 0;
  const char* const end = text.data() + text.size();
  const auto parsed = std::from_chars(text.data(), end, number);
  if (text.empty() || parsed.ec != std::errc() || parsed.ptr != end || !std::isfinite(number)) {
    return std::nullopt;
  }
  return number / 100;
}

// A value as a table has it: of a rule, or where that says nothing of the defaults.
struct Said {
  const toml::node* node = nullptr;
  bool byDefault = false;
  explicit operator bool() const { return node != nullptr; }
};

// Makes a rule of a table, and keeps the first thing that is wrong.
class RuleReader {
 public:
  RuleReader(const TomlText& toml, const std::string& name, const toml::table* defaults)
      : toml(toml), name(name), defaults(defaults) {}

  const Fault& GetFault() const { return fault; }

  void Refuse(size_t line, const std::string& reason) {
    if (!fault) {
      fault = Refused(name, line, reason);
    }
  }

  // Refuses keys that are not among `known`.
  void CheckKeys(const toml::table& table, const std::vector<std::string>& known,
                 const std::string& of) {
    for (const auto& [key, node] : table) {
      const std::string text = toml.Original(key.str());
      if (std::find(known.begin(), known.end(), text) == known.end()) {
        const std::string nearest = NearestWord(text, known);
        Refuse(LineOf(key.source(), node),
               of + " has no " + Shown(text) +
                   (nearest.empty() ? ListOf(known) : "; is " + nearest + " meant?"));
      }
    }
  }

  Rule Read(const toml::table& table) {
    Rule rule;
    at = &table;
    rule.line = table.source().begin.line;
    CheckKeys(table, KeysOf(false), "a rule");
    rule.name = Text("name");
    if (rule.name.empty()) {
      Refuse(rule.line, "the rule has no name");
    }
    if (HasControls(rule.name, "")) {
      Refuse(LineOf("name"), "the name of the rule has a line feed or a control character");
    }
    rule.description = Text("description");
    if (HasControls(rule.description, "\n\t")) {
      Refuse(LineOf("description"), "the description has a control character");
    }
    TakeScope(rule);
    TakeMeasures(rule);
    TakeBound(rule);
    if (Get("skip")) {
      rule.skip = Text("skip");
      if (rule.skip->empty() || HasControls(*rule.skip, "")) {
        Refuse(LineOf("skip"), "skip is the reason why the rule is not asked, in a line");
      }
    }
    if (const Said said = Get("optional")) {
      if (!said.node->is_boolean()) {
        Refuse(LineOf("optional"), "optional is neither true nor false");
      } else {
        rule.optional = said.node->as_boolean()->get();
      }
    }
    CheckTogether(rule);
    return rule;
  }

 private:
  static size_t LineOf(const toml::source_region& key, const toml::node& node) {
    return key.begin.line > 0 ? key.begin.line : node.source().begin.line;
  }

  Said Get(const char* key) const {
    if (const toml::node* const node = at->get(key)) {
      return {node, false};
    }
    return {defaults != nullptr ? defaults->get(key) : nullptr, true};
  }

  size_t LineOf(const char* key) const {
    const Said said = Get(key);
    return said ? said.node->source().begin.line : at->source().begin.line;
  }

  static std::string Shown(const std::string& text) {
    std::string shown;
    for (const char c : text.substr(0, 64)) {
      shown += HasControls({c}, "") ? '?' : c;
    }
    return "'" + shown + "'";
  }

  static std::string ListOf(const std::vector<std::string>& known) {
    std::string text;
    for (const std::string& word : known) {
      text += (text.empty() ? ": it may have " : ", ") + word;
    }
    return text;
  }

  std::string Text(const char* key) {
    const Said said = Get(key);
    if (!said) {
      return "";
    }
    if (!said.node->is_string()) {
      Refuse(LineOf(key), std::string(key) + " is no text");
      return "";
    }
    return toml.Original(said.node->as_string()->get());
  }

  // A text, or a list of texts.
  std::vector<std::string> Texts(const char* key) {
    const Said said = Get(key);
    std::vector<std::string> texts;
    const auto take = [&](const toml::node& node) {
      if (node.is_string()) {
        texts.push_back(toml.Original(node.as_string()->get()));
      } else {
        Refuse(node.source().begin.line, std::string(key) + " is no text and no list of texts");
      }
    };
    if (said && said.node->is_array()) {
      for (const toml::node& node : *said.node->as_array()) {
        take(node);
      }
    } else if (said) {
      take(*said.node);
    }
    return texts;
  }

  static std::optional<double> NumberIn(const toml::node& node) {
    const std::optional<double> number = node.is_number() ? node.value<double>() : std::nullopt;
    return number && std::isfinite(*number) ? number : std::nullopt;
  }

  // A number, or a share of what the baseline says.
  void TakeEnd(const char* key, std::optional<double> Limits::*end, bool Limits::*open,
               Bound& bound) {
    const Said said = Get(key);
    if (!said) {
      return;
    }
    Limits* into = &bound.limits;
    std::optional<double> value = NumberIn(*said.node);
    if (!value && said.node->is_string()) {
      value = ShareOf(said.node->as_string()->get());
      into = &bound.ofBaseline;
    }
    if (!value) {
      Refuse(LineOf(key), std::string(key) + " is no number, nor a share as in \"105 %\"");
      return;
    }
    if (bound.limits.*end || bound.ofBaseline.*end) {
      Refuse(LineOf(key), std::string(key) + " says again where the bound ends");
      return;
    }
    into->*end = value;
    if (open != nullptr) {
      into->*open = true;
    }
  }

  void TakeWithin(const toml::node& node, Bound& bound) {
    const std::optional<double> number = NumberIn(node);
    const std::optional<double> share =
        node.is_string() ? ShareOf(node.as_string()->get()) : std::nullopt;
    std::optional<double>& into = number ? bound.within : bound.withinShare;
    const std::optional<double> value = number ? number : share;
    if (!value || *value < 0) {
      Refuse(node.source().begin.line,
             "within is a number, a share as in \"5 %\", or both in a list");
    } else if (into) {
      Refuse(node.source().begin.line, "within says the same twice");
    } else {
      into = value;
    }
  }

  void TakeBound(Rule& rule) {
    Bound& bound = rule.bound;
    TakeEnd("at_least", &Limits::least, nullptr, bound);
    TakeEnd("above", &Limits::least, &Limits::aboveLeast, bound);
    TakeEnd("at_most", &Limits::most, nullptr, bound);
    TakeEnd("below", &Limits::most, &Limits::belowMost, bound);
    if (const Said said = Get("equals")) {
      bound.equals = NumberIn(*said.node);
      if (!bound.equals) {
        Refuse(LineOf("equals"), "equals is no number");
      }
    }
    TakeBaseline(rule);
    const Said within = Get("within");
    // Of the defaults it is about what has something to be near to.
    if (!within || (within.byDefault && rule.baseline.empty() && !bound.equals)) {
      return;
    }
    if (within.node->is_array()) {
      for (const toml::node& node : *within.node->as_array()) {
        TakeWithin(node, bound);
      }
    } else {
      TakeWithin(*within.node, bound);
    }
  }

  // Whether the rule itself bounds its numbers, so that a baseline of the defaults is not asked.
  bool IsBoundByItself(const Bound& bound) const {
    const bool ends = bound.limits.least || bound.limits.most || bound.equals;
    return ends && !bound.NeedsBaseline() && at->get("within") == nullptr;
  }

  void TakeBaseline(Rule& rule) {
    const Said said = Get("baseline");
    if (!said || (said.byDefault && IsBoundByItself(rule.bound))) {
      return;
    }
    if (said.byDefault && rule.bound.equals) {
      return;
    }
    const std::string file = Text("baseline");
    if (file.empty() || HasControls(file, "")) {
      Refuse(LineOf("baseline"), "baseline is no name of a file");
      return;
    }
    rule.baseline = (std::filesystem::path(name).parent_path() / file).lexically_normal();
  }

  static void AddMeasure(Rule& rule, const MeasureEntry& measure) {
    const bool isThere =
        std::any_of(rule.measures.begin(), rule.measures.end(),
                    [&](const MeasureEntry& known) { return known->name == measure->name; });
    if (!isThere) {
      rule.measures.push_back(measure);
    }
  }

  void TakePattern(Rule& rule, const std::string& pattern) {
    rule.patterned = true;
    bool met = false;
    for (const MeasureEntry& measure : AllMeasures()) {
      if (measure->IsOfUnits() || measure->isMoment || !MeetsPattern(measure->name, pattern)) {
        continue;
      }
      met = true;
      if (!measure->needsCauses || rule.scope.IsWholeRun()) {
        AddMeasure(rule, measure);
      }
    }
    if (!met) {
      Refuse(LineOf("measure"), "no measure of the run is called as in " + Shown(pattern));
    }
  }

  void TakeMeasure(Rule& rule, const std::string& wanted) {
    if (IsPattern(wanted)) {
      TakePattern(rule, wanted);
      return;
    }
    if (const MeasureEntry measure = FindMeasure(wanted)) {
      AddMeasure(rule, measure);
      return;
    }
    std::vector<std::string> names;
    for (const MeasureEntry& measure : AllMeasures()) {
      names.push_back(measure->name);
    }
    const std::string nearest = NearestWord(wanted, names);
    Refuse(LineOf("measure"),
           "there is no measure " + Shown(wanted) +
               (nearest.empty() ? "; marrowfin-trace expect --measures lists them"
                                : "; is " + nearest + " meant?"));
  }

  void TakeMeasures(Rule& rule) {
    const std::vector<std::string> wanted = Texts("measure");
    if (wanted.empty()) {
      Refuse(rule.line, "the rule has no measure");
    }
    for (const std::string& measure : wanted) {
      TakeMeasure(rule, measure);
    }
    const std::vector<std::string> except = Texts("except");
    std::erase_if(rule.measures, [&](const MeasureEntry& measure) {
      return std::any_of(except.begin(), except.end(), [&](const std::string& pattern) {
        return MeetsPattern(measure->name, pattern);
      });
    });
    if (rule.measures.empty()) {
      Refuse(LineOf(except.empty() ? "measure" : "except"),
             except.empty() ? "the measures are about the causes of a whole run, and the rule is "
                              "about a part of it"
                            : "except leaves no measure");
    }
  }

  void TakeThread(RuleScope& scope) {
    const Said said = Get("thread");
    if (!said) {
      return;
    }
    if (said.node->is_string()) {
      scope.thread = Text("thread");
      return;
    }
    const int64_t number = said.node->is_integer() ? said.node->as_integer()->get() : -1;
    if (number < 0 || number > std::numeric_limits<uint32_t>::max()) {
      Refuse(LineOf("thread"), "thread is no number of a thread and no name of one");
      return;
    }
    scope.thread = static_cast<uint32_t>(number);
  }

  void TakeScope(Rule& rule) {
    RuleScope& scope = rule.scope;
    if (Get("cycles")) {
      scope.cycles = Text("cycles");
      const std::string wrong = ParseRange(scope.cycles, scope.range);
      if (!wrong.empty()) {
        Refuse(LineOf("cycles"), wrong);
      }
    }
    if (Get("region")) {
      scope.regionText = Text("region");
      const std::string wrong = ParseRegion(scope.regionText, scope.region.emplace());
      if (!wrong.empty()) {
        Refuse(LineOf("region"), wrong);
      }
    }
    if (const Said said = Get("every")) {
      const int64_t cycles = said.node->is_integer() ? said.node->as_integer()->get() : 0;
      if (cycles < 1) {
        Refuse(LineOf("every"), "every is no number of cycles of at least 1");
      } else {
        scope.every = static_cast<uint64_t>(cycles);
      }
    }
    if (Get("to")) {
      const std::string wrong = ParseRegion(Text("to"), rule.to.emplace());
      if (!wrong.empty()) {
        Refuse(LineOf("to"), wrong);
      }
    }
    TakeThread(scope);
    scope.where = Texts("where");
    if (Get("kind")) {
      scope.where.push_back("kind=" + Text("kind"));
    }
  }

  // What each key says may be right and all of them together mean nothing.
  void CheckTogether(const Rule& rule) {
    const Bound& bound = rule.bound;
    const auto refuse = [&](const std::string& reason) { Refuse(rule.line, reason); };
    const bool hasBaseline = !rule.baseline.empty();
    if (bound.NeedsBaseline() && !hasBaseline) {
      refuse("a bound in percent is a share of a baseline, and the rule has none");
    }
    if (bound.IsWithin() && !hasBaseline && !bound.equals) {
      refuse("within says how near to equals or to a baseline, and the rule has neither");
    }
    if (hasBaseline && bound.equals) {
      refuse("equals and baseline both say what the measure is to be");
    }
    if (hasBaseline && !bound.IsWithin() && !bound.NeedsBaseline()) {
      refuse("the rule does not say how near to the baseline: give within, or bounds in percent");
    }
    if (!hasBaseline && bound.For({}) == Limits()) {
      refuse("the rule bounds nothing: give at_least, at_most, above, below, equals or baseline");
    }
    if (bound.For({}).AreEmpty()) {
      refuse("no number meets " + LimitsText(bound.For({})));
    }
    const bool ofTraffic =
        std::any_of(rule.measures.begin(), rule.measures.end(),
                    [](const MeasureEntry& measure) { return measure->of == MeasureOf::TRAFFIC; });
    if (rule.to && !ofTraffic) {
      refuse("to says where traffic goes, and the rule is of no measure of traffic");
    }
    RuleScope withoutPlaces = rule.scope;
    withoutPlaces.region.reset();
    for (const MeasureEntry& entry : rule.measures) {
      const Measure& measure = *entry;
      if (measure.needsCauses && !(measure.IsOfUnits() ? withoutPlaces : rule.scope).IsWholeRun()) {
        refuse(measure.name + " is about the causes of a whole run: leave out cycles, every, " +
               (measure.IsOfUnits() ? "" : "region, ") + "thread, kind and where");
      }
      if (hasBaseline && (measure.IsOfUnits() || rule.scope.every > 0)) {
        refuse("a baseline has one number for each measure: " + measure.name +
               (measure.IsOfUnits() ? " is one of each " + std::string(MeasureOfName(measure.of))
                                    : " every so many cycles has more"));
      }
    }
  }

  const TomlText& toml;
  const std::string& name;
  const toml::table* defaults;
  const toml::table* at = nullptr;
  Fault fault;
};

// The tables [[rule]], as far as there are any.
class FileReader {
 public:
  FileReader(const TomlText& toml, const std::string& name) : toml(toml), name(name) {}

  Result<RuleFile> Read(const toml::table& all) {
    RuleReader top(toml, name, nullptr);
    top.CheckKeys(all, {"format", "defaults", "rule"}, "a file of rules");
    CheckFormat(all, top);
    const toml::table* const defaults = Defaults(all, top);
    const toml::node* const rules = all.get("rule");
    if (rules == nullptr || !rules->is_array_of_tables()) {
      top.Refuse(rules == nullptr ? 1 : rules->source().begin.line, "there are no tables [[rule]]");
    }
    if (top.GetFault()) {
      return top.GetFault();
    }
    RuleFile file;
    file.name = name;
    RuleReader reader(toml, name, defaults);
    std::map<std::string, size_t> lines;
    for (const toml::node& node : *rules->as_array()) {
      if (file.rules.size() == MOST_RULES) {
        return Refused(name, node.source().begin.line,
                       "there are more than " + std::to_string(MOST_RULES) + " rules",
                       "part them into several files");
      }
      file.rules.push_back(reader.Read(*node.as_table()));
      const Rule& rule = file.rules.back();
      const auto [first, isNew] = lines.emplace(rule.name, rule.line);
      if (!isNew) {
        reader.Refuse(rule.line,
                      "the rule on line " + std::to_string(first->second) + " has the same name");
      }
      if (reader.GetFault()) {
        return reader.GetFault();
      }
    }
    return file;
  }

 private:
  static void CheckFormat(const toml::table& all, RuleReader& top) {
    const toml::node* const format = all.get("format");
    if (format == nullptr) {
      return;
    }
    const size_t line = format->source().begin.line;
    const int64_t number = format->is_integer() ? format->as_integer()->get() : 0;
    if (number < 1) {
      top.Refuse(line, "format is no number of at least 1");
    } else if (number > FORMAT) {
      top.Refuse(line, "format " + std::to_string(number) + " is newer than this program");
    }
  }

  static const toml::table* Defaults(const toml::table& all, RuleReader& top) {
    const toml::node* const node = all.get("defaults");
    if (node == nullptr) {
      return nullptr;
    }
    if (!node->is_table()) {
      top.Refuse(node->source().begin.line, "defaults is no table");
      return nullptr;
    }
    top.CheckKeys(*node->as_table(), KeysOf(true), "[defaults]");
    return node->as_table();
  }

  const TomlText& toml;
  const std::string& name;
};

}  // namespace

bool RuleScope::IsWholeRun() const {
  const NumberRange all;
  return range.first == all.first && range.last == all.last && every == 0 && !region && !thread &&
         where.empty();
}

std::string RuleScope::Key() const {
  std::string key = std::to_string(range.first) + ":" + std::to_string(range.last) + " " +
                    std::to_string(every) + " " + regionText + " ";
  if (thread) {
    key += std::holds_alternative<uint32_t>(*thread) ? std::to_string(std::get<uint32_t>(*thread))
                                                     : "'" + std::get<std::string>(*thread) + "'";
  }
  for (const std::string& condition : where) {
    key += '\n' + condition;
  }
  return key;
}

Result<RuleFile> ParseRules(std::string_view text, const std::string& name) {
  const TomlText toml(text);
  if (!toml.Wrong().empty()) {
    return Refused(name, toml.Line(), toml.Wrong());
  }
  const toml::parse_result parsed = toml::parse(toml.Ascii());
  if (!parsed) {
    return Refused(name, parsed.error().source().begin.line,
                   toml.Original(parsed.error().description()));
  }
  return FileReader(toml, name).Read(parsed.table());
}

Result<RuleFile> ReadRules(const std::string& name) {
  const Result<std::unique_ptr<PositionedFile>> file = OpenPlainFile(name, PlainAccess::READ);
  if (!file) {
    return file.Why();
  }
  if ((*file)->Size() > LARGEST) {
    return Refused(name, 1, "this is larger than 1 MiB, as no file of rules is",
                   "name a file of rules");
  }
  std::vector<uint8_t> bytes(static_cast<size_t>((*file)->Size()));
  if (!bytes.empty()) {
    if (Fault fault = (*file)->ReadAt(0, bytes.size(), bytes.data())) {
      return fault;
    }
  }
  return ParseRules({reinterpret_cast<const char*>(bytes.data()), bytes.size()}, name);
}

}  // namespace marrowfin
