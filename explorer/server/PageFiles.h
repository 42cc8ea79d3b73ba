#ifndef EXPLORER_SERVER_PAGEFILES_H
#define EXPLORER_SERVER_PAGEFILES_H

#include <string_view>

namespace marrowfin {

// A file of the page, which is part of the program.
struct PageFile {
  std::string_view path;  // "/assets/index-3fa1.js"; that of the page itself is "/"
  std::string_view type;  // as Content-Type tells it
  std::string_view bytes;
};

// The file of a path; null where there is none.
const PageFile* FindPageFile(std::string_view path);

// A text that is another one in every build of another page.
std::string_view PageBuild();

}  // namespace marrowfin

#endif
