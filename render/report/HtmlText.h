#ifndef RENDER_REPORT_HTMLTEXT_H
#define RENDER_REPORT_HTMLTEXT_H

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace marrowfin {

// A text as it stands in a page, in an element or in the quotes of an attribute. Names of files may
// hold anything: what is no UTF-8, a control character, or turns the order of characters round
// becomes U+FFFD.
std::string HtmlEscaped(std::string_view text);

// A text parts of which are emphasised.
class RichText {
 public:
  RichText() = default;
  RichText(std::string text) { Add(std::move(text)); }

  RichText& Add(std::string text);
  RichText& Strong(std::string text);

  std::string Plain() const;
  std::string Html() const;

 private:
  struct Span {
    std::string text;
    bool strong;
  };
  std::vector<Span> spans;
};

}  // namespace marrowfin

#endif
