#include "color/reference.h"

#include <cmath>

namespace nadiro::test::ref {
namespace {

// Rows: source; columns: target, both in the order RGB CMY CMYK HSV HSI YIQ
// YUV XYZ LAB.
const char* const kKinds[kModels] = {
    "-IIDDDDDD",  // RGB
    "I-ICCBBCC",  // CMY
    "II-CCCCCC",  // CMYK
    "DCC-CCCCC",  // HSV
    "DCCC-CCCC",  // HSI
    "DCCCC-CCC",  // YIQ
    "DCCCCC-CC",  // YUV
    "DCCCCCC-C",  // XYZ
    "DCCCCCCC-",  // LAB
};

double unit(uint8_t v) { return v / 255.0; }

// value (already multiplied out) -> byte: clamp to 0..255, truncate.
uint8_t byteOf(double v) {
  if (v < 0) v = 0;
  if (v > 255) v = 255;
  return static_cast<uint8_t>(static_cast<int>(v));
}

double clip(double v) {
  if (v < 0) return 0;
  if (v > 1) return 1;
  return v;
}

// --- cores -----------------------------------------------------------------

void hsvFromRgb(double R, double G, double B, double& H, double& S, double& V) {
  double mx = std::fmax(R, std::fmax(G, B));
  double mn = std::fmin(R, std::fmin(G, B));
  V = mx;
  if (mx == 0) {
    S = 0;
    H = -1;
    return;
  }
  S = (mx - mn) / mx;
  double d = mx - mn;
  if (S == 0)
    H = 0;
  else if (R == mx)
    H = (G - B) / d;
  else if (G == mx)
    H = 2 + (B - R) / d;
  else
    H = 4 + (R - G) / d;
  H = H * 60;
  if (H < 0) H = H + 360;
}

void rgbFromHsv(double H, double S, double V, double& R, double& G, double& B) {
  double h = H / 60;
  if (h == 6) h = 0;
  int i = static_cast<int>(std::floor(h));
  double f = h - i;
  double p = V * (1 - S);
  double q = V * (1 - S * f);
  double t = V * (1 - S * (1 - f));
  if (i == 0) { R = V; G = t; B = p; }
  if (i == 1) { R = q; G = V; B = p; }
  if (i == 2) { R = p; G = V; B = t; }
  if (i == 3) { R = p; G = q; B = V; }
  if (i == 4) { R = t; G = p; B = V; }
  if (i == 5) { R = V; G = p; B = q; }
  R = clip(R);
  G = clip(G);
  B = clip(B);
}

void hsiFromRgb(double R, double G, double B, double& H, double& S, double& L) {
  double mx = std::fmax(R, std::fmax(G, B));
  double mn = std::fmin(R, std::fmin(G, B));
  L = (mx + mn) / 2;
  H = 0;
  S = 0;
  if (L > 0 && L < 1) {
    if (L < 0.5)
      S = (mx - mn) / (2 * L);
    else
      S = (mx - mn) / (2 - 2 * L);
  }
  if (mx - mn == 0) {
    S = 0;
    return;
  }
  double d = mx - mn;
  if (R == mx && R != G) H = (G - B) / d;
  if (G == mx && G != B) H = 2 + (B - R) / d;
  if (B == mx && B != R) H = 4 + (R - G) / d;
  H = H * 60;
  if (H < 0) H = H + 360;
}

void rgbFromHsi(double H, double S, double L, double& R, double& G, double& B) {
  double r, g, b;
  if (H < 120) {
    r = (120 - H) / 60;
    g = H / 60;
    b = 0;
  } else if (H < 240) {
    r = 0;
    g = (240 - H) / 60;
    b = (H - 120) / 60;
  } else {
    r = (H - 240) / 60;
    g = 0;
    b = (360 - H) / 60;
  }
  r = std::fmin(r, 1.0);
  g = std::fmin(g, 1.0);
  b = std::fmin(b, 1.0);
  r = 2 * S * r + (1 - S);
  g = 2 * S * g + (1 - S);
  b = 2 * S * b + (1 - S);
  if (L < 0.5) {
    R = L * r;
    G = L * g;
    B = L * b;
  } else {
    R = (1 - L) * r + 2 * L - 1;
    G = (1 - L) * g + 2 * L - 1;
    B = (1 - L) * b + 2 * L - 1;
  }
}

double f(double t) {
  if (t > 0.008856) return std::cbrt(t);
  return 7.787 * t + 16.0 / 116.0;
}

void labFromRgb(double R, double G, double B, double& L, double& A, double& Bb) {
  double Yl = 0.299 * R + 0.587 * G + 0.114 * B;
  if (Yl > 0.008856)
    L = (116 * std::cbrt(Yl) - 16) / 100;
  else
    L = (903.3 * Yl) / 100;
  A = ((f((0.607 * R + 0.174 * G + 0.2 * B) / 0.981) - f(Yl)) * 500 + 137.71922282212) /
      233.86238849999802;
  Bb = ((f(Yl) - f((0.066 * G + 0.116 * B) / 0.182)) * 200 + 75.141546466834) /
       124.610613285093;
}

void rgbFromLab(double L, double A, double Bb, double& R, double& G, double& B) {
  double fy = std::cbrt(0.01) * (100 * L + 16) / 25;
  double a2 = 233.86238849999802 * A - 137.71922282212;
  double b2 = 124.610613285093 * Bb - 75.141546466834;
  double fx = fy + a2 / 500;
  double fz = fy - b2 / 200;
  double X = 0.981 * (fx * fx * fx);
  double Y = fy * fy * fy;
  double Z = 0.182 * (fz * fz * fz);
  R = clip(1.7467 * X - 0.2014 * Y - 2.8135 * Z);
  G = clip(-1.0002 * X + 2.0305 * Y - 0.271 * Z);
  B = clip(0.5691 * X - 1.1553 * Y + 8.7749 * Z);
}

Record integerMember(Model from, Model to, const uint8_t* in) {
  Record o{};
  if (from == RGB && to == CMY) {
    for (int j = 0; j < 3; ++j) o[j] = static_cast<uint8_t>(255 - in[j]);
  } else if (from == CMY && to == RGB) {
    for (int j = 0; j < 3; ++j) o[j] = static_cast<uint8_t>(255 - in[j]);
  } else if (from == RGB && to == CMYK) {
    int c = 255 - in[0], m = 255 - in[1], y = 255 - in[2];
    int k = std::min(c, std::min(m, y));
    o = {static_cast<uint8_t>(c - k), static_cast<uint8_t>(m - k), static_cast<uint8_t>(y - k),
         static_cast<uint8_t>(k)};
  } else if (from == CMY && to == CMYK) {
    int k = std::min<int>(in[0], std::min<int>(in[1], in[2]));
    o = {static_cast<uint8_t>(in[0] - k), static_cast<uint8_t>(in[1] - k),
         static_cast<uint8_t>(in[2] - k), static_cast<uint8_t>(k)};
  } else if (from == CMYK && to == CMY) {
    for (int j = 0; j < 3; ++j) o[j] = static_cast<uint8_t>((in[j] + in[3]) % 256);
  } else if (from == CMYK && to == RGB) {
    for (int j = 0; j < 3; ++j) o[j] = static_cast<uint8_t>(255 - (in[j] + in[3]) % 256);
  }
  return o;
}

}  // namespace

const char* modelName(Model m) {
  static const char* const names[kModels] = {"RGB", "CMY", "CMYK", "HSV", "HSI",
                                             "YIQ", "YUV", "XYZ",  "LAB"};
  return names[m];
}

char memberKind(Model from, Model to) { return kKinds[from][to]; }

Rgb toRgb(Model from, const uint8_t* in) {
  Rgb o{0, 0, 0};
  switch (from) {
    case RGB: o = {unit(in[0]), unit(in[1]), unit(in[2])}; break;
    case CMY: o = {1 - unit(in[0]), 1 - unit(in[1]), 1 - unit(in[2])}; break;
    case CMYK:
      o = {1 - (unit(in[0]) + unit(in[3])), 1 - (unit(in[1]) + unit(in[3])),
           1 - (unit(in[2]) + unit(in[3]))};
      break;
    case HSV: rgbFromHsv(unit(in[0]) * 360, unit(in[1]), unit(in[2]), o.r, o.g, o.b); break;
    case HSI: rgbFromHsi(unit(in[0]) * 360, unit(in[1]), unit(in[2]), o.r, o.g, o.b); break;
    case YIQ: {
      double Y = unit(in[0]);
      double I = unit(in[1]) * 1.1914 - 0.5957;
      double Q = unit(in[2]) * 1.0452 - 0.5226;
      o = {Y + 0.9563 * I + 0.621 * Q, Y - 0.2721 * I - 0.6474 * Q, Y - 1.107 * I + 1.7046 * Q};
      break;
    }
    case YUV: {
      double Y = unit(in[0]);
      double U = unit(in[1]) * 0.872 - 0.436;
      double V = unit(in[2]) * 1.23 - 0.615;
      o = {Y + 1.13983 * V, Y - 0.39465 * U - 0.5806 * V, Y + 2.03211 * U};
      break;
    }
    case XYZ: {
      double X = unit(in[0]) * 0.9807;
      double Y = unit(in[1]);
      double Z = unit(in[2]) * 1.18232;
      o = {clip(1.9099961 * X - 0.5324542 * Y - 0.2882091 * Z),
           clip(-0.9846663 * X + 1.999171 * Y - 0.0283082 * Z),
           clip(0.0583056 * X - 0.1183781 * Y + 0.8975535 * Z)};
      break;
    }
    case LAB: rgbFromLab(unit(in[0]), unit(in[1]), unit(in[2]) * 1.389, o.r, o.g, o.b); break;
  }
  return o;
}

Record fromRgb(Model to, Rgb c) {
  Record o{};
  const double R = c.r, G = c.g, B = c.b;
  switch (to) {
    case RGB: o = {byteOf(R * 255), byteOf(G * 255), byteOf(B * 255), 0}; break;
    case CMY: o = {byteOf((1 - R) * 255), byteOf((1 - G) * 255), byteOf((1 - B) * 255), 0}; break;
    case CMYK: {
      double C = 1 - R, M = 1 - G, Y = 1 - B;
      double K = std::fmin(C, std::fmin(M, Y));
      o = {byteOf((C - K) * 255), byteOf((M - K) * 255), byteOf((Y - K) * 255), byteOf(K * 255)};
      break;
    }
    case HSV: {
      double H, S, V;
      hsvFromRgb(R, G, B, H, S, V);
      o = {byteOf(H * 255 / 360), byteOf(S * 255), byteOf(V * 255), 0};
      break;
    }
    case HSI: {
      double H, S, L;
      hsiFromRgb(R, G, B, H, S, L);
      o = {byteOf(H * 255 / 360), byteOf(S * 255), byteOf(L * 255), 0};
      break;
    }
    case YIQ: {
      double Y = 0.299 * R + 0.587 * G + 0.114 * B;
      double I = 0.595716 * R - 0.274453 * G - 0.321263 * B;
      double Q = 0.211456 * R - 0.522591 * G + 0.311135 * B;
      o = {byteOf(Y * 255), byteOf((I + 0.5957) * 255 / 1.1914), byteOf((Q + 0.5226) * 255 / 1.0452),
           0};
      break;
    }
    case YUV: {
      double Y = 0.299 * R + 0.587 * G + 0.114 * B;
      double U = -0.14713 * R - 0.28886 * G + 0.436 * B;
      double V = 0.615 * R - 0.51499 * G - 0.10001 * B;
      o = {byteOf(Y * 255), byteOf((U + 0.436) * 255 / 0.872), byteOf((V + 0.615) * 255 / 1.23), 0};
      break;
    }
    case XYZ: {
      double X = 0.6068909 * R + 0.1735011 * G + 0.200348 * B;
      double Y = 0.2989164 * R + 0.586599 * G + 0.1144845 * B;
      double Z = 0.0660957 * G + 1.1162243 * B;
      o = {byteOf(X * 255 / 0.9807), byteOf(Y * 255), byteOf(Z * 255 / 1.18232), 0};
      break;
    }
    case LAB: {
      double L, A, Bb;
      labFromRgb(R, G, B, L, A, Bb);
      o = {byteOf(L * 255), byteOf(A * 255), byteOf(Bb * 255 / 1.389), 0};
      break;
    }
  }
  return o;
}

Record convert(Model from, Model to, const uint8_t* in) {
  switch (memberKind(from, to)) {
    case 'I': return integerMember(from, to, in);
    case 'D':
    case 'C': return fromRgb(to, toRgb(from, in));
    case 'B': {
      const uint8_t rgb[3] = {static_cast<uint8_t>(255 - in[0]), static_cast<uint8_t>(255 - in[1]),
                              static_cast<uint8_t>(255 - in[2])};
      return fromRgb(to, toRgb(RGB, rgb));
    }
    default: return Record{};
  }
}

Record ucrFromRgb(const uint8_t* rgb) {
  double c = 1 - rgb[0] / 255.0, m = 1 - rgb[1] / 255.0, y = 1 - rgb[2] / 255.0;
  double k = c;
  if (m < k) k = m;
  if (y < k) k = y;
  double u = 0.1 * k;
  double K = k < 0.3 ? 0 : (k - 0.3) * 0.9 / 0.7;
  return {static_cast<uint8_t>((1 - clip(c - u)) * 255), static_cast<uint8_t>((1 - clip(m - u)) * 255),
          static_cast<uint8_t>((1 - clip(y - u)) * 255), static_cast<uint8_t>((1 - clip(K)) * 255)};
}

Record ucrToRgb(const uint8_t* cmyk) {
  double k = (cmyk[3] / 255.0 + 0.3857142857142858) / 1.2857142857142858 * 0.1;
  return {static_cast<uint8_t>((1 - clip(cmyk[0] / 255.0 + k)) * 255),
          static_cast<uint8_t>((1 - clip(cmyk[1] / 255.0 + k)) * 255),
          static_cast<uint8_t>((1 - clip(cmyk[2] / 255.0 + k)) * 255), 0};
}

int modelId(Model m) {
  static const int ids[kModels] = {1, 3, 4, 6, 7, 5, 2, 8, 9};
  return ids[m];
}

bool modelOfId(int id, Model& m) {
  for (int i = 0; i < kModels; ++i)
    if (modelId(static_cast<Model>(i)) == id) {
      m = static_cast<Model>(i);
      return true;
    }
  return false;
}

}  // namespace nadiro::test::ref
