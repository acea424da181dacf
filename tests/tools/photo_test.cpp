// Photographs through the tool's codecs: Ctrl-C writes nothing, EXIF
// orientation turns pictures upright, metadata and colour models survive a
// round trip, and one progress line covers a whole run.
#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>

#include "bmp.h"
#include "formats.h"
#include "operation.h"
#include "progress_bar.h"

namespace nadiro::cli {
namespace {

// A 24-bit picture whose four corners are red, green, blue and white (top
// left, top right, bottom left, bottom right as seen), the rest grey.
Dib cornerPicture(int32_t w, int32_t h) {
  Dib d = Dib::blank(w, h, 24);
  for (size_t i = d.pixelOffset(); i < d.bytes.size(); ++i) d.bytes[i] = 128;
  auto paint = [&](int32_t x, int32_t yDown, uint8_t r, uint8_t g, uint8_t b) {
    uint8_t* p = d.row(h - 1 - yDown) + 3 * size_t(x);
    p[0] = b, p[1] = g, p[2] = r;
  };
  paint(0, 0, 255, 0, 0);
  paint(w - 1, 0, 0, 255, 0);
  paint(0, h - 1, 0, 0, 255);
  paint(w - 1, h - 1, 255, 255, 255);
  return d;
}

// An EXIF block holding only an orientation, little- or big-endian.
std::vector<uint8_t> exifWithOrientation(int o, bool big) {
  std::vector<uint8_t> le = {'I', 'I', 42, 0, 8, 0,          0, 0, 1, 0, 0x12, 0x01, 3,
                             0,   1,   0,  0, 0, uint8_t(o), 0, 0, 0, 0, 0,    0,    0};
  std::vector<uint8_t> be = {'M', 'M', 0, 42, 0, 0, 0,          8, 0, 1, 0x01, 0x12, 0,
                             3,   0,   0, 0,  1, 0, uint8_t(o), 0, 0, 0, 0,    0,    0};
  return big ? be : le;
}

std::string noTemporaries(const std::string& dir) {
  std::string found;
  for (const auto& e : std::filesystem::directory_iterator(dir))
    if (e.path().filename().string().find(".tmp-") != std::string::npos) found += e.path();
  return found;
}

TEST(Cancel, NothingIsWrittenOnceCtrlCWasPressed) {
  const Dib picture = cornerPicture(64, 48);
  for (const char* ext : {"bmp", "png", "jpg", "webp"}) {
    const std::string dir = testing::TempDir();
    const std::string path = dir + "/nadiro-cancel." + ext;
    std::remove(path.c_str());
    requestInterrupt();
    std::string error;
    EXPECT_FALSE(writeImage(path, picture, error)) << ext;
    clearInterrupt();
    EXPECT_EQ(error, "cancelled") << ext;
    EXPECT_EQ(std::fopen(path.c_str(), "rb"), nullptr) << ext;
    EXPECT_EQ(noTemporaries(dir), "") << ext;
    EXPECT_TRUE(writeImage(path, picture, error)) << ext << ": " << error;  // and without Ctrl-C
    std::remove(path.c_str());
  }
}

TEST(ExifOrientation, EveryOrientationComesOutUpright) {
  // Where the stored top-left (red) and top-right (green) corners appear,
  // as the EXIF standard defines the eight orientations.
  enum Corner { TL, TR, BL, BR };
  struct Case {
    int orientation;
    Corner red, green;
  };
  const Case kCases[] = {{1, TL, TR}, {2, TR, TL}, {3, BR, BL}, {4, BL, BR},
                         {5, TL, BL}, {6, TR, BR}, {7, BR, TR}, {8, BL, TL}};
  const int32_t w = 6, h = 4;
  for (const Case& c : kCases) {
    for (bool big : {false, true}) {
      WriteOptions options;
      options.meta.exif = exifWithOrientation(c.orientation, big);
      std::vector<uint8_t> file;
      std::string error;
      ASSERT_TRUE(encodePng(cornerPicture(w, h), file, error, options)) << error;
      ReadResult r;
      ASSERT_TRUE(decodeImage(file, {}, r, error)) << error;
      const bool swapped = c.orientation >= 5;
      ASSERT_EQ(r.dib.width(), swapped ? h : w) << c.orientation;
      ASSERT_EQ(r.dib.height(), swapped ? w : h) << c.orientation;
      EXPECT_EQ(exifOrientation(r.meta.exif), 1) << "the tag is reset after turning";
      auto at = [&](Corner k) {
        uint8_t bgr[3];
        const int32_t x = (k == TR || k == BR) ? r.dib.width() - 1 : 0;
        const int32_t yDown = (k == BL || k == BR) ? r.dib.height() - 1 : 0;
        r.dib.bgr(r.dib.height() - 1 - yDown, x, bgr);
        return std::vector<int>{bgr[2], bgr[1], bgr[0]};
      };
      EXPECT_EQ(at(c.red), (std::vector<int>{255, 0, 0})) << c.orientation << (big ? " MM" : " II");
      EXPECT_EQ(at(c.green), (std::vector<int>{0, 255, 0})) << c.orientation;
    }
  }
}

TEST(ExifOrientation, DamagedBlocksReadAsUpright) {
  const auto good = exifWithOrientation(6, false);
  ASSERT_EQ(exifOrientation(good), 6);
  for (size_t cut = 0; cut < 20; ++cut)  // the value ends at byte 20
    EXPECT_EQ(exifOrientation(std::span(good).first(cut)), 1) << cut;
  auto farOffset = good;
  farOffset[4] = 0xF0;  // IFD beyond the block
  EXPECT_EQ(exifOrientation(farOffset), 1);
  auto manyEntries = good;
  manyEntries[9] = 0xFF;  // 65281 entries claimed, one present
  EXPECT_EQ(exifOrientation(manyEntries), 6);
  auto wrongType = good;
  wrongType[12] = 4;  // LONG instead of SHORT
  EXPECT_EQ(exifOrientation(wrongType), 1);
  auto outOfRange = exifWithOrientation(9, false);
  EXPECT_EQ(exifOrientation(outOfRange), 1);
}

TEST(Metadata, ExifAndIccSurviveEveryFormatThatHoldsThem) {
  WriteOptions options;  // the lossy formats first
  options.meta.exif = exifWithOrientation(1, true);
  options.meta.exif.insert(options.meta.exif.end(), {'n', 'a', 'd', 'i', 'r', 'o'});
  // libpng checks a profile's contents (the tool's end-to-end test gives a
  // PNG a real one); JPEG and WebP carry any bytes.
  for (int i = 0; i < 300; ++i) options.meta.icc.push_back(uint8_t(i * 7));
  for (const char* format : {"jpg", "webp", "png"}) {
    if (std::string(format) == "png") options.meta.icc.clear();
    std::vector<uint8_t> file;
    std::string error;
    ASSERT_TRUE(encodeImage(format, cornerPicture(16, 16), options, file, error)) << error;
    ReadResult r;
    ASSERT_TRUE(decodeImage(file, {}, r, error)) << format << ": " << error;
    EXPECT_EQ(r.meta.exif, options.meta.exif) << format;
    EXPECT_EQ(r.meta.icc, options.meta.icc) << format;
  }
}

TEST(ColourModels, PlainPngsKeepTheComponentsAndNameTheModel) {
  struct Case {
    uint16_t bits;
    uint32_t tag;
    const char* model;
  };
  for (const Case c : {Case{24, 14, "HSV"}, Case{32, 12, "CMYK"}, Case{24, 17, "LAB"}}) {
    Dib d = Dib::blank(8, 3, c.bits);  // rows without padding
    storeField<uint32_t>(d.bytes, 16, c.tag);
    for (size_t i = d.pixelOffset(); i < d.bytes.size(); ++i) d.bytes[i] = uint8_t(i * 31 + 5);
    std::vector<uint8_t> png, bmp;
    std::string error;
    ASSERT_TRUE(encodeImage("png", d, {}, png, error)) << error;
    ReadResult r;
    ASSERT_TRUE(decodeImage(png, {}, r, error)) << error;
    EXPECT_EQ(r.meta.model, c.model);
    EXPECT_EQ(r.dib.bytes, d.bytes) << c.model;  // tag and components, byte for byte
    // BMP: plain unless asked for the tag.
    ASSERT_TRUE(encodeImage("bmp", d, {}, bmp, error));
    EXPECT_EQ(loadField<uint32_t>(bmp, 30), 0u);
    WriteOptions tagged;
    tagged.tagged = true;
    ASSERT_TRUE(encodeImage("bmp", d, tagged, bmp, error));
    EXPECT_EQ(loadField<uint32_t>(bmp, 30), c.tag);
    EXPECT_FALSE(encodeImage("jpg", d, {}, bmp, error)) << "lossy formats would damage them";
  }
}

TEST(Progress, OneLineForAWholeRun) {
  BatchProgress run(4);
  int a = 0, b = 0;
  run.started();
  run.started();
  run.update(&a, 0.5, "a");
  run.update(&b, 1.0, "b");
  run.finished();
  // 0.5 + 1 + 1 of 4 pictures, the newest picture's number.
  EXPECT_EQ(run.line().substr(0, 14), "picture 2 of 4");
  EXPECT_NE(run.line().find(" 62%"), std::string::npos) << run.line();
  run.forget(&b);
  run.started();
  EXPECT_EQ(run.line().substr(0, 14), "picture 3 of 4");
  EXPECT_NE(run.line().find(" 37%"), std::string::npos) << run.line();
}

}  // namespace
}  // namespace nadiro::cli
