#include "render/plot/SvgNames.h"

#include <map>
#include <string_view>

namespace marrowfin {
namespace {

// Behind which of these a part is named, and what ends the name.
struct Mention {
  std::string_view before;
  char end;
};

constexpr Mention MENTIONS[] = {{" id=\"", '"'}, {"href=\"#", '"'}, {"url(#", ')'}};

}  // namespace

std::string RenameSvgParts(const std::string& svg, const std::string& name) {
  std::map<std::string, std::string> names;
  const std::string_view definition = MENTIONS[0].before;
  for (size_t at = svg.find(definition); at != std::string::npos; at = svg.find(definition, at)) {
    at += definition.size();
    const std::string id = svg.substr(at, svg.find('"', at) - at);
    names.emplace(id, name + "-" + std::to_string(names.size() + 1));
  }
  std::string renamed;
  size_t from = 0;
  while (from < svg.size()) {
    size_t next = std::string::npos;
    const Mention* mention = nullptr;
    for (const Mention& each : MENTIONS) {
      const size_t at = svg.find(each.before, from);
      if (at < next) {
        next = at;
        mention = &each;
      }
    }
    if (mention == nullptr) {
      break;
    }
    const size_t begin = next + mention->before.size();
    const size_t end = svg.find(mention->end, begin);
    const auto found = names.find(svg.substr(begin, end - begin));
    renamed += svg.substr(from, begin - from);
    renamed += found == names.end() ? svg.substr(begin, end - begin) : found->second;
    from = end;
  }
  return renamed + svg.substr(from < svg.size() ? from : svg.size());
}

std::string KeepCellsSharp(std::string svg) {
  constexpr std::string_view image = "<image ";
  constexpr std::string_view sharp =
      "image-rendering=\"optimizeSpeed\" style=\"image-rendering:pixelated\" ";
  for (size_t at = svg.find(image); at != std::string::npos; at = svg.find(image, at)) {
    at += image.size();
    svg.insert(at, sharp);
  }
  return svg;
}

}  // namespace marrowfin
