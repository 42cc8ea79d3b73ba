#include "explorer/core/AnswerBytes.h"

namespace marrowfin {
namespace {

void Put32(uint32_t value, std::vector<uint8_t>& out) {
  for (int shift = 0; shift < 32; shift += 8) {
    out.push_back(static_cast<uint8_t>(value >> shift));
  }
}

void Put64(uint64_t value, std::vector<uint8_t>& out) {
  Put32(static_cast<uint32_t>(value), out);
  Put32(static_cast<uint32_t>(value >> 32), out);
}

void Align(std::vector<uint8_t>& out) {
  while (out.size() % AnswerBytes::ALIGNMENT != 0) {
    out.push_back(0);
  }
}

void PutIfAny(const char* name, const std::string& text, JsonText& head) {
  if (!text.empty()) {
    head.Key(name).Text(text);
  }
}

}  // namespace

void AnswerBytes::Begin(std::string_view name, uint32_t type, size_t elements) {
  Align(body);
  names.emplace_back(name);
  entries.push_back({type, elements});
}

std::vector<uint8_t> AnswerBytes::Finish() {
  head.Key("columns").Array();
  for (const std::string& name : names) {
    head.Text(name);
  }
  head.End().End();
  const std::string& text = head.Get();
  std::vector<uint8_t> answer(MAGIC, MAGIC + sizeof(MAGIC) - 1);
  answer.reserve(text.size() + body.size() + 16 * entries.size() + 32);
  Put32(PROTOCOL, answer);
  Put32(static_cast<uint32_t>(text.size()), answer);
  Put32(static_cast<uint32_t>(entries.size()), answer);
  for (const Entry& entry : entries) {
    Put32(entry.type, answer);
    Put32(0, answer);
    Put64(entry.elements, answer);
  }
  answer.insert(answer.end(), text.begin(), text.end());
  Align(answer);
  answer.insert(answer.end(), body.begin(), body.end());
  return answer;
}

std::vector<uint8_t> AnswerBytes::Of(const Refusal& refusal) {
  AnswerBytes answer;
  JsonText& head = answer.Head();
  head.Key("error").Object();
  head.Key("code").Text(RefusalName(refusal.code));
  head.Key("message").Text(refusal.message);
  PutIfAny("file", refusal.file, head);
  PutIfAny("place", refusal.place, head);
  PutIfAny("remedy", refusal.remedy, head);
  head.End();
  return answer.Finish();
}

}  // namespace marrowfin
