#include "explorer/server/Token.h"

#include <fcntl.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdint>

namespace marrowfin {
namespace {

constexpr size_t TOKEN_BYTES = 16;
constexpr size_t SHORTEST = 16;
constexpr size_t LONGEST = 128;

bool IsTokenCharacter(char character) {
  return (character >= '0' && character <= '9') || (character >= 'a' && character <= 'z') ||
         (character >= 'A' && character <= 'Z');
}

bool IsToken(std::string_view text) {
  bool good = text.size() >= SHORTEST && text.size() <= LONGEST;
  for (const char character : text) {
    good = good && IsTokenCharacter(character);
  }
  return good;
}

// A descriptor that is closed with the object.
struct Descriptor {
  explicit Descriptor(int number) : number(number) {}
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  ~Descriptor() {
    if (number != -1) {
      close(number);
    }
  }
  const int number;
};

Result<std::string> ReadToken(const std::string& file, int descriptor) {
  std::array<char, LONGEST + 2> bytes;
  const ssize_t got = read(descriptor, bytes.data(), bytes.size());
  if (got < 0) {
    return SystemFault(file, "cannot read", errno);
  }
  std::string_view text(bytes.data(), static_cast<size_t>(got));
  while (!text.empty() && (text.back() == '\n' || text.back() == '\r')) {
    text.remove_suffix(1);
  }
  if (!IsToken(text)) {
    Fault fault;
    fault.kind = Fault::REFUSED_INPUT;
    fault.file = file;
    fault.reason = "what it holds is no token: 16 to 128 letters and digits";
    fault.remedy = "remove the file, and a new one is made";
    return fault;
  }
  return std::string(text);
}

}  // namespace

Result<std::string> RandomToken() {
  constexpr char DIGITS[] = "0123456789abcdef";
  std::array<uint8_t, TOKEN_BYTES> bytes;
  if (getrandom(bytes.data(), bytes.size(), 0) != static_cast<ssize_t>(bytes.size())) {
    return SystemFault("", "the system has no random numbers", errno);
  }
  std::string token;
  for (const uint8_t byte : bytes) {
    token += DIGITS[byte >> 4];
    token += DIGITS[byte & 15];
  }
  return token;
}

Result<std::string> TokenInFile(const std::string& file) {
  const Descriptor there(open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  if (there.number != -1) {
    return ReadToken(file, there.number);
  }
  if (errno != ENOENT) {
    return SystemFault(file, "cannot open", errno);
  }
  Result<std::string> token = RandomToken();
  if (!token) {
    return token.Why();
  }
  const Descriptor made(
      open(file.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, S_IRUSR | S_IWUSR));
  const std::string line = *token + '\n';
  if (made.number == -1 ||
      write(made.number, line.data(), line.size()) != static_cast<ssize_t>(line.size())) {
    return SystemFault(file, "cannot write", errno);
  }
  return token;
}

bool IsSameSecret(std::string_view a, std::string_view b) {
  unsigned difference = a.size() == b.size() ? 0 : 1;
  for (size_t i = 0; i < a.size(); ++i) {
    const char other = b.empty() ? '\0' : b[i % b.size()];
    difference |= static_cast<unsigned char>(a[i]) ^ static_cast<unsigned char>(other);
  }
  return difference == 0;
}

std::string_view CookieValue(std::string_view header, std::string_view name) {
  while (!header.empty()) {
    const size_t end = header.find(';');
    std::string_view pair = header.substr(0, end);
    header = end == std::string_view::npos ? std::string_view() : header.substr(end + 1);
    while (pair.starts_with(' ')) {
      pair.remove_prefix(1);
    }
    if (pair.size() > name.size() && pair.starts_with(name) && pair[name.size()] == '=') {
      return pair.substr(name.size() + 1);
    }
  }
  return {};
}

}  // namespace marrowfin
