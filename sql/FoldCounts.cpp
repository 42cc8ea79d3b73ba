#include "sql/FoldCounts.h"

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <set>
#include <string_view>
#include <vector>

namespace marrowfin {

namespace {

constexpr uint64_t NO_END = ~uint64_t{0};
constexpr size_t MOST_DIGITS = 18;  // of integers of SQL, whatever they are

// A piece of a statement; words in lower case.
struct Token {
  enum Kind { WORD, NUMBER, SIGN } kind;
  std::string text;
  size_t begin;
  size_t end;  // in the statement
};

bool IsWordCharacter(char c) {
  return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_';
}

// Nothing where there is what no statement of the kind has: quotes, remarks, parameters.
std::optional<std::vector<Token>> TokensOf(const std::string& statement) {
  std::vector<Token> tokens;
  for (size_t at = 0; at < statement.size();) {
    const char c = statement[at];
    size_t end = at + 1;
    if (std::isspace(static_cast<unsigned char>(c)) != 0) {
      at = end;
      continue;
    }
    if (IsWordCharacter(c)) {
      end =
          static_cast<size_t>(std::find_if_not(statement.begin() + static_cast<std::ptrdiff_t>(at),
                                               statement.end(), IsWordCharacter) -
                              statement.begin());
    } else if (std::string_view("()*,+-<>=;").find(c) == std::string_view::npos ||
               statement.compare(at, 2, "--") == 0) {
      return std::nullopt;
    } else if (end < statement.size() && (c == '<' || c == '>') &&
               (statement[end] == '=' || (c == '<' && statement[end] == '>'))) {
      ++end;
    }
    std::string text = statement.substr(at, end - at);
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char each) { return static_cast<char>(std::tolower(each)); });
    const bool isNumber = std::isdigit(static_cast<unsigned char>(c)) != 0;
    if (isNumber &&
        (text.find_first_not_of("0123456789") != std::string::npos || text.size() > MOST_DIGITS)) {
      return std::nullopt;
    }
    tokens.push_back({isNumber             ? Token::NUMBER
                      : IsWordCharacter(c) ? Token::WORD
                                           : Token::SIGN,
                      std::move(text), at, end});
    at = end;
  }
  return tokens;
}

struct FoldedTable {
  const char* name;
  const char* counted;  // the column of activity
  const char* unit;
};
constexpr FoldedTable TABLES[] = {
    {"fires", "fires", "pe"}, {"sends", "sends", "pe"}, {"switches", "transmissions", "switch"}};

const std::set<std::string, std::less<>> PLACES = {"col",         "row",        "cluster_col",
                                                   "cluster_row", "domain_col", "domain_row"};
const std::set<std::string, std::less<>> WORDS_BEHIND = {
    "and", "or", "not", "between", "asc", "desc", "limit", "offset", "having", "order", "by"};
const std::set<std::string, std::less<>> COMPARISONS = {"=", "<", "<=", ">", ">="};

constexpr char COUNT[] = "\"events of the place\"";

// Reads a statement from front to back; false where it is of another kind.
class Folding {
 public:
  Folding(const std::string& statement, const std::vector<Token>& tokens)
      : statement(statement), tokens(tokens) {}

  bool Read() {
    return Take("select") && ReadItems() && ReadTable() && (!Take("where") || ReadConditions()) &&
           Take("group") && Take("by") && ReadGroups() && ReadRest();
  }

  std::string Text() const {
    const std::string cycles =
        std::to_string(first) + (last == NO_END ? "" : ", " + std::to_string(last));
    std::string text = "select " + items + " from (select ";
    for (const std::string& place : PLACES) {
      text += place + ", ";
    }
    return text + table->counted + " as " + COUNT + " from activity(" + cycles +
           ") where unit = '" + table->unit + "' and " + table->counted + " > 0" + conditions +
           ") group by " + groups + rest;
  }

 private:
  bool Has(size_t offset, std::string_view text) const {
    return at + offset < tokens.size() && tokens[at + offset].text == text;
  }
  bool Take(std::string_view text) {
    const bool has = Has(0, text);
    at += has ? 1 : 0;
    return has;
  }
  bool TakeCount() {
    const bool has = Has(0, "count") && Has(1, "(") && Has(2, "*") && Has(3, ")");
    at += has ? 4 : 0;
    return has;
  }
  bool IsPlace() const { return at < tokens.size() && PLACES.count(tokens[at].text) > 0; }
  bool IsNumber(size_t offset) const {
    return at + offset < tokens.size() && tokens[at + offset].kind == Token::NUMBER;
  }
  uint64_t Number(size_t offset) const { return std::stoull(tokens[at + offset].text); }

  // Takes a part of a term: a column of the place, a count, a number or a sign.
  bool TakePart(std::string& out) {
    if (TakeCount()) {
      out += std::string(" sum(") + COUNT + ")";
      return true;
    }
    if (IsPlace() || IsNumber(0) ||
        (at < tokens.size() && (names.count(tokens[at].text) > 0 ||
                                (tokens[at].kind == Token::SIGN && tokens[at].text != ";")))) {
      out += " " + tokens[at++].text;
      return true;
    }
    return false;
  }

  bool ReadItems() {
    do {
      if (!ReadItem()) {
        return false;
      }
    } while (Take(",") && !(items += ",").empty());
    return true;
  }

  bool ReadItem() {
    const size_t begin = at;
    int depth = 0;
    while (at < tokens.size() &&
           (depth > 0 || (!Has(0, ",") && !Has(0, "from") && !Has(0, "as")))) {
      depth += Has(0, "(") && !Has(0, "count") ? 1 : Has(0, ")") ? -1 : 0;
      if (depth < 0 || !TakePart(items)) {
        return false;
      }
    }
    const bool isCount = at == begin + 4 && tokens[begin].text == "count";
    places.push_back(at == begin + 1 ? tokens[begin].text : "");
    if (Take("as")) {
      if (at == tokens.size() || tokens[at].kind != Token::WORD || IsPlace()) {
        return false;
      }
      names.insert(tokens[at].text);
      items += " as \"" + Written(at, at + 1) + "\"";
      ++at;
    } else if (isCount) {
      items += " as \"" + Written(begin, at) + "\"";
    }
    return at > begin;
  }

  std::string Written(size_t from, size_t to) const {
    return statement.substr(tokens[from].begin, tokens[to - 1].end - tokens[from].begin);
  }

  bool ReadTable() {
    if (!Take("from") || at == tokens.size()) {
      return false;
    }
    table = std::find_if(std::begin(TABLES), std::end(TABLES),
                         [&](const FoldedTable& each) { return tokens[at].text == each.name; });
    ++at;
    return table != std::end(TABLES);
  }

  bool ReadConditions() {
    do {
      if (!ReadCondition()) {
        return false;
      }
    } while (Take("and"));
    return true;
  }

  bool ReadCondition() {
    const bool isCycle = Has(0, "cycle");
    if ((!isCycle && !IsPlace()) || at + 2 >= tokens.size()) {
      return false;
    }
    const std::string column = tokens[at++].text;
    if (Has(0, "between") && IsNumber(1) && Has(2, "and") && IsNumber(3)) {
      return Compare(column, ">=", Number(1)) && Compare(column, "<=", Number(3)) && (at += 4) > 0;
    }
    return COMPARISONS.count(tokens[at].text) > 0 && IsNumber(1) &&
           Compare(column, tokens[at].text, Number(1)) && (at += 2) > 0;
  }

  // Cycles become a range; what is compared with a place is compared further on.
  bool Compare(const std::string& column, const std::string& comparison, uint64_t number) {
    if (column != "cycle") {
      conditions += " and " + column + " " + comparison + " " + std::to_string(number);
      return true;
    }
    if (comparison == "<" && number == 0) {
      return false;
    }
    if (comparison[0] == '>' || comparison == "=") {
      first = std::max(first, number + (comparison == ">" ? 1 : 0));
    }
    if (comparison[0] == '<' || comparison == "=") {
      last = std::min(last, number - (comparison == "<" ? 1 : 0));
    }
    return true;
  }

  // Both the column and the row are among them: all else of a place follows from those.
  bool ReadGroups() {
    std::set<std::string> grouped;
    do {
      if (IsPlace()) {
        grouped.insert(tokens[at].text);
      } else if (IsNumber(0) && Number(0) > 0 && Number(0) <= places.size() &&
                 PLACES.count(places[Number(0) - 1]) > 0) {
        grouped.insert(places[Number(0) - 1]);
      } else {
        return false;
      }
      groups += tokens[at++].text;
    } while (Take(",") && !(groups += ", ").empty());
    return grouped.count("col") > 0 && grouped.count("row") > 0;
  }

  bool ReadRest() {
    while (at < tokens.size() && !Has(0, ";")) {
      if (WORDS_BEHIND.count(tokens[at].text) > 0) {
        rest += " " + tokens[at++].text;
      } else if (!TakePart(rest)) {
        return false;
      }
    }
    return at == tokens.size() || at + 1 == tokens.size();
  }

  const std::string& statement;
  const std::vector<Token>& tokens;
  size_t at = 0;
  std::string items;
  std::vector<std::string> places;  // of items that are a column each
  std::set<std::string> names;      // of items
  const FoldedTable* table = nullptr;
  uint64_t first = 0;
  uint64_t last = NO_END;
  std::string conditions;
  std::string groups;
  std::string rest;
};

}  // namespace

std::optional<std::string> FoldedCounts(const std::string& statement) {
  const std::optional<std::vector<Token>> tokens = TokensOf(statement);
  if (!tokens) {
    return std::nullopt;
  }
  Folding folding(statement, *tokens);
  return folding.Read() ? std::optional(folding.Text()) : std::nullopt;
}

}  // namespace marrowfin
