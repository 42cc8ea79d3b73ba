#ifndef RENDER_FILM_H
#define RENDER_FILM_H

#include <sys/types.h>

#include <cstdint>
#include <cstdio>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "render/Picture.h"
#include "trace/base/Result.h"
#include "trace/write/ByteSink.h"

namespace marrowfin {

// What a film is written as. MP4 and WebM lose some sharpness of colours; GIF and APNG lose
// nothing.
enum class FilmFormat { MP4, WEBM, GIF, APNG };

// The format that a file of this name has by its ending; nothing for any other.
std::optional<FilmFormat> FormatOfName(const std::string& name);

// Makes a film of pictures by ffmpeg, a program of its own that must be in the PATH.
//
// What it makes goes to a file without a name in the system's folder for temporary files, and from
// there to the sink when all of it is done: where anything fails, nothing is written. ffmpeg ends
// with this object. Used by one thread.
class FilmEncoder {
 public:
  // Faults: ffmpeg is missing, or the system refuses a process or a file.
  static Result<std::unique_ptr<FilmEncoder>> Start(FilmFormat format, PictureSize size,
                                                    uint32_t picturesPerSecond);

  FilmEncoder(const FilmEncoder&) = delete;
  FilmEncoder& operator=(const FilmEncoder&) = delete;
  ~FilmEncoder();

  // The next picture: all its pixels, the topmost row first. The fault is what ffmpeg complained
  // of.
  [[nodiscard]] Fault Add(const std::vector<Pixel>& pixels);

  // Ends the film and writes it. Nothing may follow.
  [[nodiscard]] Fault Finish(ByteSink& sink);

 private:
  struct Closer {
    void operator()(FILE* file) const { fclose(file); }
  };
  using TemporaryFile = std::unique_ptr<FILE, Closer>;

  FilmEncoder() = default;
  Fault MakeFiles(FilmFormat format);
  Fault Spawn(const std::vector<std::string>& words, int input);
  Fault Complaint() const;
  int Wait();

  TemporaryFile film;
  TemporaryFile palette;     // of GIF, as PNG
  TemporaryFile complaints;  // what ffmpeg says
  int pictures = -1;         // a socket, which unlike a pipe breaks without a signal
  pid_t child = -1;
};

}  // namespace marrowfin

#endif
