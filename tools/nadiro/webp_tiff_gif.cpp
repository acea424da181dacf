// WebP (in and out), TIFF and GIF (in) through libwebp, libtiff and giflib.
// Transparency is flattened onto the caller's background colour; the first
// frame of an animation or a multi-page file is the picture.
#include <gif_lib.h>
#include <tiffio.h>
#include <webp/decode.h>
#include <webp/demux.h>
#include <webp/encode.h>
#include <webp/mux.h>

#include <cstring>
#include <memory>
#include <mutex>

#include "formats.h"
#include "operation.h"

namespace nadiro::cli {
namespace {

uint8_t over(unsigned colour, unsigned alpha, unsigned background) {
  return static_cast<uint8_t>((colour * alpha + background * (255 - alpha) + 127) / 255);
}

bool tooLarge(uint64_t w, uint64_t h, std::string& error) {
  if (w == 0 || h == 0 || w > 0x7FFFFF || h > 0x7FFFFF || w * h > kMaxPicturePixels) {
    error = "picture too large or empty (" + std::to_string(w) + " x " + std::to_string(h) + ")";
    return true;
  }
  return false;
}

// A 24-bit picture from top-down rows of B, G, R (and alpha when `alpha`).
void fromTopDown(const uint8_t* pixels, int32_t w, int32_t h, bool alpha,
                 const ReadOptions& options, ReadResult& out) {
  out.dib = Dib::blank(w, h, 24);
  const size_t step = alpha ? 4 : 3;
  const auto [bgR, bgG, bgB] = options.background;
  for (int32_t y = 0; y < h; ++y) {
    const uint8_t* src = pixels + size_t(y) * size_t(w) * step;
    uint8_t* dst = out.dib.row(h - 1 - y);
    for (int32_t x = 0; x < w; ++x, src += step, dst += 3) {
      const unsigned a = alpha ? src[3] : 255;
      out.composited |= a != 255;
      dst[0] = over(src[0], a, bgB);
      dst[1] = over(src[1], a, bgG);
      dst[2] = over(src[2], a, bgR);
    }
  }
}

// --- TIFF from memory ---
struct MemoryFile {
  std::span<const uint8_t> data;
  uint64_t pos = 0;
};
tsize_t tiffRead(thandle_t h, tdata_t buf, tsize_t size) {
  auto* m = static_cast<MemoryFile*>(h);
  const uint64_t left = m->pos < m->data.size() ? m->data.size() - m->pos : 0;
  const auto n = std::min<uint64_t>(left, uint64_t(size));
  std::memcpy(buf, m->data.data() + m->pos, size_t(n));
  m->pos += n;
  return tsize_t(n);
}
tsize_t tiffWrite(thandle_t, tdata_t, tsize_t) {
  return 0;
}
toff_t tiffSeek(thandle_t h, toff_t off, int whence) {
  auto* m = static_cast<MemoryFile*>(h);
  const uint64_t base = whence == SEEK_CUR ? m->pos : whence == SEEK_END ? m->data.size() : 0;
  m->pos = base + off;
  return m->pos;
}
int tiffClose(thandle_t) {
  return 0;
}
toff_t tiffSize(thandle_t h) {
  return static_cast<MemoryFile*>(h)->data.size();
}
int tiffMap(thandle_t, tdata_t*, toff_t*) {
  return 0;
}
void tiffUnmap(thandle_t, tdata_t, toff_t) {}

// --- GIF from memory ---
int gifRead(GifFileType* gif, GifByteType* buf, int size) {
  auto* m = static_cast<MemoryFile*>(gif->UserData);
  return static_cast<int>(tiffRead(m, buf, size));
}

}  // namespace

bool decodeWebp(std::span<const uint8_t> file, const ReadOptions& options, ReadResult& out,
                std::string& error) {
  WebPBitstreamFeatures features;
  if (WebPGetFeatures(file.data(), file.size(), &features) != VP8_STATUS_OK) {
    error = "damaged WebP file";
    return false;
  }
  if (tooLarge(uint64_t(features.width), uint64_t(features.height), error)) return false;
  const int32_t w = features.width, h = features.height;
  const bool alpha = features.has_alpha != 0;
  const size_t stride = size_t(w) * (alpha ? 4 : 3);
  std::vector<uint8_t> pixels(stride * size_t(h));
  const uint8_t* ok =
      alpha
          ? WebPDecodeBGRAInto(file.data(), file.size(), pixels.data(), pixels.size(), int(stride))
          : WebPDecodeBGRInto(file.data(), file.size(), pixels.data(), pixels.size(), int(stride));
  if (!ok) {
    error = "damaged WebP file";
    return false;
  }
  fromTopDown(pixels.data(), w, h, alpha, options, out);
  const WebPData data{file.data(), file.size()};
  const std::unique_ptr<WebPDemuxer, void (*)(WebPDemuxer*)> demux(WebPDemux(&data),
                                                                   WebPDemuxDelete);
  WebPChunkIterator chunk;
  for (const auto& [fourcc, target] :
       {std::pair{"EXIF", &out.meta.exif}, {"ICCP", &out.meta.icc}}) {
    if (demux && WebPDemuxGetChunk(demux.get(), fourcc, 1, &chunk)) {
      target->assign(chunk.chunk.bytes, chunk.chunk.bytes + chunk.chunk.size);
      WebPDemuxReleaseChunkIterator(&chunk);
    }
  }
  return true;
}

bool encodeWebp(const Dib& dib, std::vector<uint8_t>& file, std::string& error,
                const WriteOptions& options) {
  const Dib rgb = toRgb24(dib);
  const int32_t w = rgb.width(), h = rgb.height();
  std::vector<uint8_t> topDown(size_t(w) * 3 * size_t(h));
  for (int32_t y = 0; y < h; ++y)
    std::memcpy(topDown.data() + size_t(y) * size_t(w) * 3, rgb.row(h - 1 - y), size_t(w) * 3);
  WebPConfig config;
  WebPPicture picture;
  if (!WebPConfigInit(&config) || !WebPPictureInit(&picture)) {
    error = "WebP encoder: version mismatch";
    return false;
  }
  config.quality = float(options.quality);
  picture.width = w;
  picture.height = h;
  picture.use_argb = 0;
  WebPMemoryWriter writer;
  WebPMemoryWriterInit(&writer);
  picture.writer = WebPMemoryWrite;
  picture.custom_ptr = &writer;
  picture.progress_hook = [](int, const WebPPicture*) { return interrupted() ? 0 : 1; };
  const bool ok =
      WebPPictureImportBGR(&picture, topDown.data(), w * 3) && WebPEncode(&config, &picture);
  const bool cancelled = picture.error_code == VP8_ENC_ERROR_USER_ABORT;
  WebPPictureFree(&picture);
  const std::unique_ptr<uint8_t, void (*)(void*)> bytes(writer.mem, WebPFree);
  if (!ok) {
    error = cancelled ? "cancelled" : "WebP encoder failed";
    return false;
  }
  file.assign(writer.mem, writer.mem + writer.size);
  const Metadata& meta = options.meta;
  if (meta.exif.empty() && meta.icc.empty()) return true;
  // EXIF and ICC go in chunks of the extended format.
  const WebPData image{file.data(), file.size()};
  const std::unique_ptr<WebPMux, void (*)(WebPMux*)> mux(WebPMuxCreate(&image, 1), WebPMuxDelete);
  const WebPData exif{meta.exif.data(), meta.exif.size()}, icc{meta.icc.data(), meta.icc.size()};
  WebPData assembled{};
  if (!mux || (!meta.exif.empty() && WebPMuxSetChunk(mux.get(), "EXIF", &exif, 1) != WEBP_MUX_OK) ||
      (!meta.icc.empty() && WebPMuxSetChunk(mux.get(), "ICCP", &icc, 1) != WEBP_MUX_OK) ||
      WebPMuxAssemble(mux.get(), &assembled) != WEBP_MUX_OK) {
    error = "WebP encoder: cannot add the metadata";
    return false;
  }
  file.assign(assembled.bytes, assembled.bytes + assembled.size);
  WebPDataClear(&assembled);
  return true;
}

bool decodeTiff(std::span<const uint8_t> file, const ReadOptions& options, ReadResult& out,
                std::string& error) {
  static std::once_flag quiet;
  std::call_once(quiet, [] {
    TIFFSetErrorHandler(nullptr);
    TIFFSetWarningHandler(nullptr);
  });
  MemoryFile memory{file};
  const std::unique_ptr<TIFF, void (*)(TIFF*)> tif(
      TIFFClientOpen("picture", "rm", &memory, tiffRead, tiffWrite, tiffSeek, tiffClose, tiffSize,
                     tiffMap, tiffUnmap),
      TIFFClose);
  uint32_t w = 0, h = 0;
  if (!tif || !TIFFGetField(tif.get(), TIFFTAG_IMAGEWIDTH, &w) ||
      !TIFFGetField(tif.get(), TIFFTAG_IMAGELENGTH, &h)) {
    error = "damaged TIFF file";
    return false;
  }
  if (tooLarge(w, h, error)) return false;
  std::vector<uint32_t> raster(size_t{w} * h);
  if (!TIFFReadRGBAImageOriented(tif.get(), w, h, raster.data(), ORIENTATION_TOPLEFT, 1)) {
    error = "damaged or unsupported TIFF file";
    return false;
  }
  std::vector<uint8_t> bgra(raster.size() * 4);
  for (size_t i = 0; i < raster.size(); ++i) {
    const uint32_t p = raster[i];
    bgra[4 * i] = uint8_t(TIFFGetB(p)), bgra[4 * i + 1] = uint8_t(TIFFGetG(p));
    bgra[4 * i + 2] = uint8_t(TIFFGetR(p)), bgra[4 * i + 3] = uint8_t(TIFFGetA(p));
  }
  fromTopDown(bgra.data(), int32_t(w), int32_t(h), true, options, out);
  uint32_t iccSize = 0;
  const uint8_t* icc = nullptr;
  if (TIFFGetField(tif.get(), TIFFTAG_ICCPROFILE, &iccSize, &icc) && icc)
    out.meta.icc.assign(icc, icc + iccSize);
  return true;
}

// A frame's LZW data holds at least 3 bits per code and a code stands for
// at most 4096 pixels, so n bytes of it decode to fewer than n * 11000
// pixels. A screen or frame larger than its file can hold is a lie of the
// header, refused before giflib allocates it (it reads every frame).
bool gifSizesFit(std::span<const uint8_t> f) {
  constexpr uint64_t kPixelsPerByte = 11000;
  const auto u16 = [&](size_t at) {
    return at + 1 < f.size() ? uint64_t{f[at]} | uint64_t{f[at + 1]} << 8 : 0;
  };
  if (f.size() < 13) return true;  // giflib reports the damage
  if (u16(6) * u16(8) > f.size() * kPixelsPerByte) return false;
  size_t at = 13;
  if (f[10] & 0x80) at += size_t{3} << ((f[10] & 7) + 1);
  const auto skipSubBlocks = [&] {
    while (at < f.size() && f[at] != 0) at += size_t{f[at]} + 1;
    ++at;
  };
  while (at < f.size()) {
    if (f[at] == 0x21) {  // an extension: label, then sub-blocks
      at += 2;
      skipSubBlocks();
    } else if (f[at] == 0x2C) {  // a frame: its descriptor, table and data
      const uint64_t pixels = u16(at + 5) * u16(at + 7);
      const uint8_t flags = at + 9 < f.size() ? f[at + 9] : 0;
      at += 10;
      if (flags & 0x80) at += size_t{3} << ((flags & 7) + 1);
      const size_t data = ++at;  // after the LZW code size
      skipSubBlocks();
      if (pixels > (std::min(at, f.size()) - std::min(data, f.size()) + 1) * kPixelsPerByte)
        return false;
    } else {
      break;  // the trailer, or damage giflib reports
    }
  }
  return true;
}

bool decodeGif(std::span<const uint8_t> file, const ReadOptions& options, ReadResult& out,
               std::string& error) {
  if (!gifSizesFit(file)) {
    error = "damaged GIF file (its pictures are larger than its data can hold)";
    return false;
  }
  MemoryFile memory{file};
  int code = 0;
  const std::unique_ptr<GifFileType, void (*)(GifFileType*)> gif(
      DGifOpen(&memory, gifRead, &code), [](GifFileType* g) { DGifCloseFile(g, nullptr); });
  if (!gif ||
      tooLarge(uint64_t(std::max(gif->SWidth, 0)), uint64_t(std::max(gif->SHeight, 0)), error)) {
    if (!gif) error = "damaged GIF file";
    return false;
  }
  if (DGifSlurp(gif.get()) != GIF_OK || gif->ImageCount < 1) {
    error = "damaged GIF file";
    return false;
  }
  const SavedImage& frame = gif->SavedImages[0];
  const ColorMapObject* map = frame.ImageDesc.ColorMap ? frame.ImageDesc.ColorMap : gif->SColorMap;
  if (!map) {
    error = "GIF without a colour table";
    return false;
  }
  GraphicsControlBlock gcb{};
  gcb.TransparentColor = NO_TRANSPARENT_COLOR;
  DGifSavedExtensionToGCB(gif.get(), 0, &gcb);
  const int32_t w = gif->SWidth, h = gif->SHeight;
  std::vector<uint8_t> bgra(size_t(w) * size_t(h) * 4, 0);  // outside the frame: transparent
  const GifImageDesc& d = frame.ImageDesc;
  for (int y = 0; y < d.Height; ++y) {
    for (int x = 0; x < d.Width; ++x) {
      const int cx = d.Left + x, cy = d.Top + y;
      if (cx < 0 || cy < 0 || cx >= w || cy >= h) continue;
      const int index = frame.RasterBits[size_t(y) * size_t(d.Width) + size_t(x)];
      if (index == gcb.TransparentColor || index >= map->ColorCount) continue;
      uint8_t* p = bgra.data() + (size_t(cy) * size_t(w) + size_t(cx)) * 4;
      const GifColorType& c = map->Colors[index];
      p[0] = c.Blue, p[1] = c.Green, p[2] = c.Red, p[3] = 255;
    }
  }
  fromTopDown(bgra.data(), w, h, true, options, out);
  return true;
}

}  // namespace nadiro::cli
