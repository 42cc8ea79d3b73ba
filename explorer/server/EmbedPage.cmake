# Makes a source out of a built page, in which its files are part of the program as they are.
#
# usage: cmake -DPAGE=FOLDER -DOUT=FILE -P EmbedPage.cmake
cmake_policy(VERSION 3.25)

set(type_html "text/html; charset=utf-8")
set(type_js "text/javascript; charset=utf-8")
set(type_css "text/css; charset=utf-8")
set(type_svg "image/svg+xml")
set(type_png "image/png")
set(type_woff2 "font/woff2")
set(type_json "application/json")
set(type_wasm "application/wasm")

file(GLOB_RECURSE files RELATIVE ${PAGE} ${PAGE}/*)
list(SORT files)
if(NOT "index.html" IN_LIST files)
  message(FATAL_ERROR "${PAGE} holds no page: there is no index.html")
endif()

set(bytes "")
set(names "")
set(entries "")
set(hashes "")
set(number 0)
foreach(file ${files})
  string(REGEX REPLACE "^.*\\." "" ending ${file})
  if(NOT DEFINED type_${ending})
    message(FATAL_ERROR "${PAGE}/${file}: nobody knows the type of .${ending}")
  endif()
  set(path /${file})
  if(file STREQUAL "index.html")
    set(path /)
  endif()
  set(name marrowfin_page_${number})
  string(APPEND bytes "    \".global ${name}\\n${name}: .incbin \\\"${PAGE}/${file}\\\"\\n\"\n"
                      "    \".global ${name}_end\\n${name}_end:\\n\"\n")
  string(APPEND names "extern const char ${name}[];\nextern const char ${name}_end[];\n")
  string(APPEND entries "      {\"${path}\", \"${type_${ending}}\", Part(${name}, ${name}_end)},\n")
  file(SHA256 ${PAGE}/${file} hash)
  string(APPEND hashes "${file} ${hash}\n")
  math(EXPR number "${number} + 1")
endforeach()
string(SHA256 build "${hashes}")
string(SUBSTRING ${build} 0 12 build)

file(WRITE ${OUT} "// Made by explorer/server/EmbedPage.cmake.

#include \"explorer/server/PageFiles.h\"

__asm__(
    \".section .rodata\\n\"
${bytes}    \".previous\\n\");

extern \"C\" {
${names}}

namespace marrowfin {
namespace {

std::string_view Part(const char* begin, const char* end) {
  return {begin, static_cast<std::string_view::size_type>(end - begin)};
}

}  // namespace

const PageFile* FindPageFile(std::string_view path) {
  static const PageFile files[] = {
${entries}  };
  for (const PageFile& file : files) {
    if (file.path == path) {
      return &file;
    }
  }
  return nullptr;
}

std::string_view PageBuild() { return \"${build}\"; }

}  // namespace marrowfin
")
