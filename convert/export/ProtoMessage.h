#ifndef CONVERT_EXPORT_PROTOMESSAGE_H
#define CONVERT_EXPORT_PROTOMESSAGE_H

#include <bit>
#include <cstdint>
#include <string>
#include <string_view>

namespace marrowfin {

// The bytes of a Protocol Buffers message, field by field. Generated code was rejected: the few
// fields that a trace has would bring a compiler into the build and a tree of objects for each
// event. Threads: a value, which one thread writes or any number read.
class ProtoMessage {
 public:
  // Also of enumerations.
  void Number(uint32_t field, uint64_t value) {
    AppendKey(field, VARINT, bytes);
    AppendVarint(value, bytes);
  }

  void Fixed(uint32_t field, uint64_t value) {
    AppendKey(field, FIXED64, bytes);
    for (int byte = 0; byte < 8; ++byte) {
      bytes += static_cast<char>(value >> (8 * byte));
    }
  }

  void Real(uint32_t field, double value) { Fixed(field, std::bit_cast<uint64_t>(value)); }

  void Text(uint32_t field, std::string_view text) { AppendBytes(field, text, bytes); }
  void Message(uint32_t field, const ProtoMessage& message) { Text(field, message.bytes); }

  // The fields of another message behind those of this one.
  void Append(const ProtoMessage& fields) { bytes += fields.bytes; }

  void Clear() { bytes.clear(); }

  // A message as a field of one whose bytes are elsewhere, such as in a file.
  static void AppendField(uint32_t field, const ProtoMessage& message, std::string& out) {
    AppendBytes(field, message.bytes, out);
  }

 private:
  enum WireType : uint32_t { VARINT = 0, FIXED64 = 1, LENGTH = 2 };

  static void AppendVarint(uint64_t value, std::string& out) {
    for (; value >= 0x80; value >>= 7) {
      out += static_cast<char>(value | 0x80);
    }
    out += static_cast<char>(value);
  }
  static void AppendKey(uint32_t field, WireType type, std::string& out) {
    AppendVarint(uint64_t{field} << 3 | type, out);
  }
  static void AppendBytes(uint32_t field, std::string_view text, std::string& out) {
    AppendKey(field, LENGTH, out);
    AppendVarint(text.size(), out);
    out += text;
  }

  std::string bytes;
};

}  // namespace marrowfin

#endif
