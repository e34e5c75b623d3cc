// The ring of the two edge flags. With a flag the rectangle holds only pixels the scaled image
// covers wholly; the one-pixel ring just outside it gets the nearest inner pixel weighted by the
// share of the ring pixel that the scaled image covers: blended into what the destination holds
// (EdgeSmooth) or into black (EdgeSubpixel). The ring lies inside the caller's destination
// rectangle, since the edges were clipped to it. 2 * (W + H) pixels: the same scalar code at every
// processor row.
#include <cmath>
#include <cstddef>

#include "resample/resize.h"

namespace nyx::NYX_TAG {

namespace {

double Frac(double v) {
  return v - std::trunc(v);
}

// One ring pixel from its inner neighbour q at coverage c.
template <bool kSmooth, int kChannels>
void Blend(uint8_t* ring, const uint8_t* inner, float c) {
  for (int ch = 0; ch < kChannels; ++ch) {
    float v;
    if constexpr (kSmooth) {
      const int32_t o = ring[ch];
      v = static_cast<float>(inner[ch] - o) * c + static_cast<float>(o);
    } else {
      v = static_cast<float>(inner[ch]) * c;
    }
    const auto r = static_cast<int32_t>(static_cast<double>(v) + 0.5000001);
    ring[ch] = static_cast<uint8_t>(r < 0 ? 0 : r > 255 ? 255 : r);
  }
}

template <bool kSmooth, int kChannels, int kStride>
void Ring(uint8_t* p, int32_t step, int32_t w, int32_t h, double left, double right, double top,
          double bottom) {
  const double fl = Frac(left), fr = Frac(right), ft = Frac(top), fb = Frac(bottom);
  const double cTop = ft > 1e-10 ? 1 - ft : 0;
  const double cLeft = fl > 1e-10 ? 1 - fl : 0;
  const double cBottom = 1 > 1e-10 + fb ? fb : 0;
  const double cRight = 1 > 1e-10 + fr ? fr : 0;
  const ptrdiff_t s = step;
  const ptrdiff_t last = static_cast<ptrdiff_t>(w - 1) * kStride;
  auto row = [&](const uint8_t* inner, uint8_t* ring, double c) {
    for (int32_t x = 0; x < w; ++x) {
      Blend<kSmooth, kChannels>(ring + x * kStride, inner + x * kStride, static_cast<float>(c));
    }
    if (cLeft != 0) {
      Blend<kSmooth, kChannels>(ring - kStride, inner, static_cast<float>(c * cLeft));
    }
    if (cRight != 0) {
      Blend<kSmooth, kChannels>(ring + last + kStride, inner + last,
                                static_cast<float>(c * cRight));
    }
  };
  if (cTop != 0) row(p, p - s, cTop);
  if (cBottom != 0) row(p + (h - 1) * s, p + h * s, cBottom);
  if (cLeft != 0) {
    for (int32_t y = 0; y < h; ++y) {
      Blend<kSmooth, kChannels>(p + y * s - kStride, p + y * s, static_cast<float>(cLeft));
    }
  }
  if (cRight != 0) {
    for (int32_t y = 0; y < h; ++y) {
      Blend<kSmooth, kChannels>(p + y * s + last + kStride, p + y * s + last,
                                static_cast<float>(cRight));
    }
  }
}

}  // namespace

void ownpi_SmoothDstBorder8px(uint8_t* p, int32_t step, int32_t w, int32_t h, double left,
                              double right, double top, double bottom) {
  Ring<true, 3, 3>(p, step, w, h, left, right, top, bottom);
}
void ownpi_SmoothDstBorder8px4(uint8_t* p, int32_t step, int32_t w, int32_t h, double left,
                               double right, double top, double bottom) {
  Ring<true, 4, 4>(p, step, w, h, left, right, top, bottom);
}
void ownpi_SmoothDstBorder8px4a(uint8_t* p, int32_t step, int32_t w, int32_t h, double left,
                                double right, double top, double bottom) {
  Ring<true, 3, 4>(p, step, w, h, left, right, top, bottom);
}
void ownpi_SubpixDstBorder8px(uint8_t* p, int32_t step, int32_t w, int32_t h, double left,
                              double right, double top, double bottom) {
  Ring<false, 3, 3>(p, step, w, h, left, right, top, bottom);
}
void ownpi_SubpixDstBorder8px4(uint8_t* p, int32_t step, int32_t w, int32_t h, double left,
                               double right, double top, double bottom) {
  Ring<false, 4, 4>(p, step, w, h, left, right, top, bottom);
}
void ownpi_SubpixDstBorder8px4a(uint8_t* p, int32_t step, int32_t w, int32_t h, double left,
                                double right, double top, double bottom) {
  Ring<false, 3, 4>(p, step, w, h, left, right, top, bottom);
}

}  // namespace nyx::NYX_TAG
