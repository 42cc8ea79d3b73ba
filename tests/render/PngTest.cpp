// What is written is read by the library's own reader, and its chunks by hand.

#include "render/Png.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <png.h>

#include <string>

namespace marrowfin {
namespace {

using ::testing::ElementsAre;

Picture Sample(PictureSize size) {
  Picture picture = {size, {}};
  for (size_t i = 0; i < Picture::CHANNELS * size.Pixels(); ++i) {
    picture.pixels.push_back(static_cast<uint8_t>(i * i / 7));
  }
  return picture;
}

std::vector<uint8_t> Written(const Picture& picture) {
  MemorySink sink;
  EXPECT_FALSE(WritePng(picture, sink));
  return sink.Bytes();
}

Picture ReadBack(const std::vector<uint8_t>& bytes) {
  png_image image = {};
  image.version = PNG_IMAGE_VERSION;
  EXPECT_NE(0, png_image_begin_read_from_memory(&image, bytes.data(), bytes.size()));
  image.format = PNG_FORMAT_RGB;
  Picture picture = {{image.width, image.height}, std::vector<uint8_t>(PNG_IMAGE_SIZE(image))};
  EXPECT_NE(0, png_image_finish_read(&image, nullptr, picture.pixels.data(), 0, nullptr));
  return picture;
}

std::vector<std::string> Chunks(const std::vector<uint8_t>& bytes) {
  std::vector<std::string> names;
  for (size_t at = 8; at + 12 <= bytes.size();) {
    const size_t length =
        size_t{bytes[at]} << 24 | bytes[at + 1] << 16 | bytes[at + 2] << 8 | bytes[at + 3];
    const std::string name(bytes.begin() + static_cast<ptrdiff_t>(at) + 4,
                           bytes.begin() + static_cast<ptrdiff_t>(at) + 8);
    if (names.empty() || names.back() != name) {
      names.push_back(name);
    }
    at += 12 + length;
  }
  return names;
}

TEST(PngTest, EveryPixelComesBack) {
  for (const PictureSize size : {PictureSize{1, 1}, {3, 2}, {1, 500}, {500, 1}, {257, 300}}) {
    EXPECT_EQ(Sample(size), ReadBack(Written(Sample(size)))) << size.width << " " << size.height;
  }
}

TEST(PngTest, ThePictureTellsNothingButItsPixels) {
  EXPECT_THAT(Chunks(Written(Sample({40, 30}))), ElementsAre("IHDR", "IDAT", "IEND"));
}

TEST(PngTest, TheSamePixelsGiveTheSameBytesAndOthersGiveOthers) {
  Picture picture = Sample({64, 64});
  const std::vector<uint8_t> bytes = Written(picture);
  EXPECT_EQ(bytes, Written(picture));
  picture.pixels[5000] ^= 1;
  EXPECT_NE(bytes, Written(picture));
}

class FullSink : public ByteSink {
 public:
  explicit FullSink(size_t room) : room(room) {}

  Written Write(const uint8_t* /*bytes*/, size_t size) override {
    if (size > room) {
      return {0, SystemFault("a.png", "cannot write", ENOSPC)};
    }
    room -= size;
    return {size};
  }

 private:
  size_t room;
};

TEST(PngTest, ASinkThatTakesNoMoreIsTheFaultWhereverItIs) {
  const Picture picture = Sample({64, 64});
  const size_t whole = Written(picture).size();
  for (const size_t room : {size_t{0}, size_t{20}, whole / 2, whole - 1}) {
    FullSink sink(room);
    EXPECT_EQ("a.png: cannot write: No space left on device", WritePng(picture, sink).Text());
  }
  FullSink enough(whole);
  EXPECT_FALSE(WritePng(picture, enough));
}

}  // namespace
}  // namespace marrowfin
