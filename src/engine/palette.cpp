// Palettes: the fixed ones, and colours chosen from a picture by median cut
// or by k-means started from the median cut. Both work on a histogram of
// 5-bit cells that keeps the sum of the exact colours in each cell, so a
// picture with few colours gets them back exactly.
#include <algorithm>
#include <cstdint>

#include "engine/engine.h"

namespace nadiro::engine {

namespace {

uint8_t level(uint32_t i, uint32_t top) {
  return static_cast<uint8_t>((i * 255 + top / 2) / top);
}

struct Bin {
  std::array<uint8_t, 3> cell;  // 5-bit coordinates
  uint64_t count;
  std::array<uint64_t, 3> sum;
  Rgb mean() const {
    Rgb c{};
    for (size_t k = 0; k < 3; ++k) c[k] = static_cast<uint8_t>((sum[k] + count / 2) / count);
    return c;
  }
};

// Straight from the picture's rows: no copy of its pixels.
std::vector<Bin> histogram(const RowSource& s) {
  std::vector<Bin> cells(32768);
  const uint32_t r = s.channelAt[0], g = s.channelAt[1], b = s.channelAt[2];
  for (uint32_t y = 0; y < s.height; ++y) {
    const uint8_t* p = s.pixels + y * s.stride;
    for (uint32_t x = 0; x < s.width; ++x, p += s.bytesPerPixel) {
      Bin& bin = cells[(p[r] >> 3) << 10 | (p[g] >> 3) << 5 | p[b] >> 3];
      ++bin.count;
      bin.sum[0] += p[r];
      bin.sum[1] += p[g];
      bin.sum[2] += p[b];
    }
  }
  std::vector<Bin> used;
  for (uint32_t i = 0; i < cells.size(); ++i)
    if (cells[i].count) {
      cells[i].cell = {static_cast<uint8_t>(i >> 10), static_cast<uint8_t>(i >> 5 & 31),
                       static_cast<uint8_t>(i & 31)};
      used.push_back(cells[i]);
    }
  return used;
}

struct Box {
  size_t begin, end;  // bins [begin, end)
  uint64_t count;
  size_t axis;  // longest side
  int extent;   // its length in cells
};

Box measure(const std::vector<Bin>& bins, size_t begin, size_t end) {
  Box box{begin, end, 0, 0, -1};
  std::array<int, 3> lo{31, 31, 31}, hi{0, 0, 0};
  for (size_t i = begin; i < end; ++i) {
    box.count += bins[i].count;
    for (size_t k = 0; k < 3; ++k) {
      lo[k] = std::min<int>(lo[k], bins[i].cell[k]);
      hi[k] = std::max<int>(hi[k], bins[i].cell[k]);
    }
  }
  for (size_t k = 0; k < 3; ++k)
    if (hi[k] - lo[k] > box.extent) {
      box.extent = hi[k] - lo[k];
      box.axis = k;
    }
  return box;
}

std::vector<Rgb> medianCut(std::vector<Bin>& bins, uint32_t wanted) {
  std::vector<Box> boxes{measure(bins, 0, bins.size())};
  while (boxes.size() < wanted) {
    // Split the most populous box that spans more than one cell.
    size_t pick = boxes.size();
    for (size_t i = 0; i < boxes.size(); ++i)
      if (boxes[i].extent > 0 && (pick == boxes.size() || boxes[i].count > boxes[pick].count))
        pick = i;
    if (pick == boxes.size()) break;
    const Box box = boxes[pick];
    const size_t axis = box.axis;
    std::stable_sort(bins.begin() + static_cast<ptrdiff_t>(box.begin),
                     bins.begin() + static_cast<ptrdiff_t>(box.end),
                     [axis](const Bin& a, const Bin& b) { return a.cell[axis] < b.cell[axis]; });
    // The median by pixel count, on a boundary between two cell values so
    // that both halves are non-empty and do not overlap.
    uint64_t seen = 0;
    size_t cut = box.begin + 1;
    for (size_t i = box.begin; i + 1 < box.end; ++i) {
      seen += bins[i].count;
      if (bins[i].cell[axis] != bins[i + 1].cell[axis]) {
        cut = i + 1;
        if (2 * seen >= box.count) break;
      }
    }
    boxes[pick] = measure(bins, box.begin, cut);
    boxes.push_back(measure(bins, cut, box.end));
  }
  std::vector<Rgb> colours;
  for (const Box& box : boxes) {
    Bin total{{}, 0, {}};
    for (size_t i = box.begin; i < box.end; ++i) {
      total.count += bins[i].count;
      for (size_t k = 0; k < 3; ++k) total.sum[k] += bins[i].sum[k];
    }
    colours.push_back(total.mean());
  }
  return colours;
}

uint64_t squared(const Rgb& a, const Rgb& b) {
  uint64_t d = 0;
  for (size_t k = 0; k < 3; ++k) {
    const int64_t e = int64_t{a[k]} - b[k];
    d += static_cast<uint64_t>(e * e);
  }
  return d;
}

// Lloyd's iterations over the histogram's cell means, weighted by count.
void refineKMeans(const std::vector<Bin>& bins, std::vector<Rgb>& centres) {
  constexpr int kRounds = 8;
  std::vector<Rgb> means(bins.size());
  for (size_t i = 0; i < bins.size(); ++i) means[i] = bins[i].mean();
  for (int round = 0; round < kRounds; ++round) {
    std::vector<Bin> clusters(centres.size(), Bin{{}, 0, {}});
    for (size_t i = 0; i < bins.size(); ++i) {
      size_t best = 0;
      uint64_t bestDistance = squared(means[i], centres[0]);
      for (size_t c = 1; c < centres.size(); ++c) {
        const uint64_t d = squared(means[i], centres[c]);
        if (d < bestDistance) {
          bestDistance = d;
          best = c;
        }
      }
      clusters[best].count += bins[i].count;
      for (size_t k = 0; k < 3; ++k) clusters[best].sum[k] += bins[i].sum[k];
    }
    bool moved = false;
    for (size_t c = 0; c < centres.size(); ++c) {
      if (clusters[c].count == 0) continue;  // an empty cluster keeps its colour
      const Rgb mean = clusters[c].mean();
      moved = moved || mean != centres[c];
      centres[c] = mean;
    }
    if (!moved) break;
  }
}

}  // namespace

std::vector<Rgb> fixedPalette(FixedPalette which) {
  std::vector<Rgb> p;
  switch (which) {
    case FixedPalette::BlackWhite:
      p = {{0, 0, 0}, {255, 255, 255}};
      break;
    case FixedPalette::RgbCorners:
      for (uint32_t i = 0; i < 8; ++i)
        p.push_back({level(i >> 2 & 1, 1), level(i >> 1 & 1, 1), level(i & 1, 1)});
      break;
    case FixedPalette::Rgb332:
      for (uint32_t i = 0; i < 256; ++i)
        p.push_back({level(i >> 5, 7), level(i >> 2 & 7, 7), level(i & 3, 3)});
      break;
    case FixedPalette::WebSafe:
      for (uint32_t i = 0; i < 216; ++i)
        p.push_back({level(i / 36, 5), level(i / 6 % 6, 5), level(i % 6, 5)});
      break;
  }
  return p;
}

std::vector<Rgb> choosePalette(const RowSource& picture, uint32_t wanted, Chooser how) {
  std::vector<Bin> bins = histogram(picture);
  if (bins.empty()) return {{0, 0, 0}};
  std::vector<Rgb> colours = medianCut(bins, wanted);
  if (how == Chooser::KMeans) refineKMeans(bins, colours);
  // A fixed order, darkest first, whatever the splits' order was.
  std::sort(colours.begin(), colours.end(), [](const Rgb& a, const Rgb& b) {
    const uint32_t la = 2u * a[0] + 4u * a[1] + a[2], lb = 2u * b[0] + 4u * b[1] + b[2];
    return la != lb ? la < lb : a < b;
  });
  colours.erase(std::unique(colours.begin(), colours.end()), colours.end());
  return colours;
}

}  // namespace nadiro::engine
