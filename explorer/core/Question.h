#ifndef EXPLORER_CORE_QUESTION_H
#define EXPLORER_CORE_QUESTION_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "explorer/core/Refusal.h"
#include "trace/base/Place.h"

namespace marrowfin {

// The members of an object of a question. Each is taken by name; what is wrong with the first of
// them is kept, so that whoever takes many looks once, when all are taken. A member that is wrong
// or missing has the value that stands for none.
//
// Threads: one at a time. The question must outlive it.
class Members {
 public:
  // Of an object; null where there is none, which has no members. `path` is for messages.
  Members(const nlohmann::json* object, std::string path, MaybeRefusal& trouble)
      : object(object), path(std::move(path)), trouble(trouble) {}

  bool Has(const char* name) const;

  // Numbers of records, steps and the like: whole, and at most 2^53. Without `other` the member
  // must be there.
  uint64_t Number(const char* name, std::optional<uint64_t> other = {});
  uint64_t NumberUpTo(const char* name, uint64_t most, std::optional<uint64_t> other = {});

  // Numbers of 64 bits: strings of decimal digits.
  uint64_t Wide(const char* name, std::optional<uint64_t> other = {});

  std::string Text(const char* name, std::optional<std::string> other = {});
  bool Flag(const char* name, bool other = false);

  // [column, row]; and lists of texts and of numbers.
  std::optional<Place> PlaceIfAny(const char* name);
  std::vector<std::string> Texts(const char* name);
  std::vector<uint64_t> Numbers(const char* name, size_t count);
  std::vector<uint64_t> Wides(const char* name, size_t count);

  // [[first, last], ...], at most so many.
  typedef std::pair<uint64_t, uint64_t> NumberPair;
  std::vector<NumberPair> Pairs(const char* name, size_t most);

  // [column, row, word].
  struct LinkWords {
    Place at;
    std::string heading;
  };
  std::optional<LinkWords> Link(const char* name);

  // An object within; and objects of a list.
  Members Within(const char* name);
  std::vector<Members> Each(const char* name);

  // Whether it is there at all.
  explicit operator bool() const { return object != nullptr; }

  // Notes what is wrong, unless something was already.
  void Refuse(const std::string& message, const std::string& remedy = {});

  // Notes the first member that nobody has taken.
  void RefuseOthers();

  // What was wrong with anything of the question so far.
  const MaybeRefusal& Trouble() const { return trouble; }

 private:
  const nlohmann::json* Find(const char* name, bool needed);
  std::string Named(std::string_view name) const;
  std::optional<uint64_t> AsNumber(const nlohmann::json& value) const;
  std::optional<uint64_t> AsWide(const nlohmann::json& value) const;

  const nlohmann::json* object;
  std::string path;
  MaybeRefusal& trouble;
  std::set<std::string> taken;
};

// A question as it came: bytes, of which nothing is believed.
class Question {
 public:
  static constexpr size_t LARGEST = 65536;

  explicit Question(std::span<const uint8_t> bytes);
  Question(const Question&) = delete;
  Question& operator=(const Question&) = delete;
  ~Question();

  // The members of the question. Where the bytes are no JSON object that is trouble already.
  Members& All() { return *all; }

 private:
  MaybeRefusal trouble;
  std::unique_ptr<nlohmann::json> value;
  std::unique_ptr<Members> all;
};

}  // namespace marrowfin

#endif
