#include "render/Film.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <set>

#include "render/Png.h"
#include "trace/ask/Fade.h"
#include "trace/ask/PieceCode.h"

namespace marrowfin {
namespace {

// The descriptors that ffmpeg finds its files at.
constexpr int FILM = 3;
constexpr int PALETTE = 4;

struct FormatOption {
  FilmFormat format;
  const char* ending;
  std::vector<std::string> words;
};

// Endings of names, and how ffmpeg encodes. The number of threads is a part of what decides on the
// bytes.
const std::array<FormatOption, 4>& Formats() {
  static const std::string EVEN = "pad=ceil(iw/2)*2:ceil(ih/2)*2:color=white";
  static const std::array<FormatOption, 4> formats = {{
      {FilmFormat::MP4,
       ".mp4",
       {"-vf", EVEN, "-c:v", "libx264", "-preset", "veryfast", "-crf", "16", "-pix_fmt", "yuv420p",
        "-threads", "2", "-movflags", "+faststart", "-f", "mp4"}},
      {FilmFormat::WEBM,
       ".webm",
       {"-vf", EVEN, "-c:v", "libvpx-vp9", "-crf", "20", "-b:v", "0", "-deadline", "realtime",
        "-cpu-used", "6", "-pix_fmt", "yuv420p", "-threads", "2", "-f", "webm"}},
      {FilmFormat::GIF, ".gif", {"-lavfi", "paletteuse=dither=none", "-loop", "0", "-f", "gif"}},
      {FilmFormat::APNG, ".apng", {"-pix_fmt", "rgb24", "-plays", "0", "-f", "apng"}},
  }};
  return formats;
}

std::string FileOf(int descriptor) { return "/proc/self/fd/" + std::to_string(descriptor); }

std::vector<std::string> Command(FilmFormat format, PictureSize size, uint32_t perSecond) {
  std::vector<std::string> words = {"ffmpeg",
                                    "-hide_banner",
                                    "-nostdin",
                                    "-loglevel",
                                    "error",
                                    "-y",
                                    "-f",
                                    "rawvideo",
                                    "-pixel_format",
                                    "rgb0",
                                    "-video_size",
                                    std::to_string(size.width) + "x" + std::to_string(size.height),
                                    "-framerate",
                                    std::to_string(perSecond),
                                    "-i",
                                    "pipe:0"};
  if (format == FilmFormat::GIF) {
    words.insert(words.end(), {"-f", "png_pipe", "-i", FileOf(PALETTE)});
  }
  words.insert(words.end(),
               {"-fflags", "+bitexact", "-flags:v", "+bitexact", "-map_metadata", "-1"});
  for (const FormatOption& known : Formats()) {
    if (known.format == format) {
      words.insert(words.end(), known.words.begin(), known.words.end());
    }
  }
  words.push_back(FileOf(FILM));
  return words;
}

// Every colour that a piece can have: fewer than the 256 of a GIF.
std::set<std::array<uint8_t, 3>> AllColors() {
  std::set<std::array<uint8_t, 3>> colors = {{0, 0, 0}, {255, 255, 255}};
  const auto add = [&](Color color) { colors.insert({color.red, color.green, color.blue}); };
  for (uint64_t step = 0; step <= SWITCH_REST; ++step) {
    for (const Color color : ElementPaletteAt(step)) {
      add(color);
    }
    for (const Color color : SwitchPaletteAt(step)) {
      add(color);
    }
  }
  for (uint64_t age = 0; age <= LAST_MESSAGE_AGE; ++age) {
    add(MessageColor(age));
  }
  return colors;
}

// As ffmpeg takes it: a picture of 16 by 16, what is left of it black.
Picture PalettePicture() {
  constexpr PictureSize size = {16, 16};
  Picture picture = {size, {}};
  for (const auto& color : AllColors()) {
    picture.pixels.insert(picture.pixels.end(), color.begin(), color.end());
  }
  picture.pixels.resize(Picture::CHANNELS * size.Pixels());
  return picture;
}

Fault FilmFault(const std::string& reason, const std::string& remedy = "") {
  Fault fault;
  fault.kind = Fault::SYSTEM;
  fault.file = "ffmpeg";
  fault.reason = reason;
  fault.remedy = remedy;
  return fault;
}

}  // namespace

std::optional<FilmFormat> FormatOfName(const std::string& name) {
  for (const FormatOption& known : Formats()) {
    if (name.ends_with(known.ending)) {
      return known.format;
    }
  }
  return std::nullopt;
}

Result<std::unique_ptr<FilmEncoder>> FilmEncoder::Start(FilmFormat format, PictureSize size,
                                                        uint32_t picturesPerSecond) {
  std::unique_ptr<FilmEncoder> encoder(new FilmEncoder);
  if (Fault fault = encoder->MakeFiles(format)) {
    return fault;
  }
  std::array<int, 2> ends = {};
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) == -1) {
    return SystemFault("ffmpeg", "cannot make a socket", errno);
  }
  encoder->pictures = ends[0];
  const Fault fault = encoder->Spawn(Command(format, size, picturesPerSecond), ends[1]);
  close(ends[1]);
  if (fault) {
    return fault;
  }
  return encoder;
}

Fault FilmEncoder::MakeFiles(FilmFormat format) {
  film.reset(tmpfile());
  complaints.reset(tmpfile());
  palette.reset(tmpfile());
  if (!film || !complaints || !palette) {
    return SystemFault("ffmpeg", "cannot make a temporary file", errno);
  }
  if (format != FilmFormat::GIF) {
    return {};
  }
  DescriptorSink sink(fileno(palette.get()), "palette");
  return WritePng(PalettePicture(), sink);
}

Fault FilmEncoder::Spawn(const std::vector<std::string>& words, int input) {
  std::vector<char*> arguments;
  for (const std::string& word : words) {
    arguments.push_back(const_cast<char*>(word.c_str()));
  }
  arguments.push_back(nullptr);
  // A descriptor that has its place already would be closed when the program begins: copies whose
  // numbers are above all places have none.
  std::array<int, 4> from = {input, fileno(complaints.get()), fileno(film.get()),
                             fileno(palette.get())};
  constexpr std::array<int, 4> to = {STDIN_FILENO, STDERR_FILENO, FILM, PALETTE};
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  for (size_t i = 0; i < from.size(); ++i) {
    from[i] = fcntl(from[i], F_DUPFD_CLOEXEC, PALETTE + 1);
    posix_spawn_file_actions_adddup2(&actions, from[i], to[i]);
  }
  posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
  // Out of reach of the keys that interrupt: whoever is interrupted here ends it.
  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP);
  const int error =
      posix_spawnp(&child, "ffmpeg", &actions, &attributes, arguments.data(), environ);
  posix_spawnattr_destroy(&attributes);
  posix_spawn_file_actions_destroy(&actions);
  for (const int descriptor : from) {
    close(descriptor);
  }
  if (error == 0) {
    return {};
  }
  child = -1;
  Fault fault = SystemFault("ffmpeg", "cannot start", error);
  fault.remedy = "install ffmpeg, which makes films";
  return fault;
}

FilmEncoder::~FilmEncoder() {
  if (child != -1) {
    kill(child, SIGKILL);
    Wait();
  }
  if (pictures != -1) {
    close(pictures);
  }
}

int FilmEncoder::Wait() {
  int status = -1;
  while (waitpid(child, &status, 0) == -1 && errno == EINTR) {
  }
  child = -1;
  return status;
}

// What ffmpeg said first.
Fault FilmEncoder::Complaint() const {
  std::array<char, 300> line = {};
  rewind(complaints.get());
  if (fgets(line.data(), line.size(), complaints.get()) == nullptr) {
    return FilmFault("ended without a word");
  }
  std::string text = line.data();
  text.erase(std::find(text.begin(), text.end(), '\n'), text.end());
  return FilmFault(text, "try another format");
}

Fault FilmEncoder::Add(const std::vector<Pixel>& pixels) {
  const auto* next = reinterpret_cast<const char*>(pixels.data());
  size_t left = pixels.size() * sizeof(Pixel);
  while (left > 0) {
    const ssize_t sent = send(pictures, next, left, MSG_NOSIGNAL);
    if (sent == -1 && errno != EINTR) {
      Wait();
      return Complaint();
    }
    const size_t taken = sent > 0 ? static_cast<size_t>(sent) : 0;
    next += taken;
    left -= taken;
  }
  return {};
}

Fault FilmEncoder::Finish(ByteSink& sink) {
  close(pictures);
  pictures = -1;
  if (Wait() != 0) {
    return Complaint();
  }
  std::array<uint8_t, 65536> block;
  for (off_t at = 0;;) {
    const ssize_t got = pread(fileno(film.get()), block.data(), block.size(), at);
    if (got == 0) {
      return at > 0 ? Fault() : FilmFault("made nothing");
    }
    if (got == -1) {
      return SystemFault("ffmpeg", "cannot read what it made", errno);
    }
    if (Fault fault = sink.Write(block.data(), static_cast<size_t>(got)).fault) {
      return fault;
    }
    at += got;
  }
}

}  // namespace marrowfin
