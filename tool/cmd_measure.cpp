// nyx quality (the index of two pictures, per channel) and nyx pattern (zone plate, ramp). With
// them the demo makes its patterns with the library and rates every result.
#include "tool.h"

#if NYX_HAS_QualityIndex_8u32f_C3R && NYX_HAS_ImageJaehne_8u_AC4R && NYX_HAS_ImageRamp_8u_AC4R
#include <CLI/CLI.hpp>
#include <cmath>
#include <cstdio>

namespace nyxtool {

namespace {

// One index per channel: grey pictures give one, RGB and RGBA three (alpha plays no part).
std::vector<float> Quality(const Image& a, const Image& b) {
  if (a.width != b.width || a.height != b.height || a.channels != b.channels) {
    throw Failure(kExitSize, "the pictures differ in size or channels (" + std::to_string(a.width) +
                                 "x" + std::to_string(a.height) + "x" + std::to_string(a.channels) +
                                 " against " + std::to_string(b.width) + "x" +
                                 std::to_string(b.height) + "x" + std::to_string(b.channels) + ")");
  }
  if (a.depth != 8 || b.depth != 8) throw Failure(kExitInput, "quality needs 8-bit pictures");
  std::vector<float> result(a.channels == 1 ? 1 : 3, 0.0f);
  const char* name = a.channels == 1   ? "QualityIndex_8u32f_C1R"
                     : a.channels == 3 ? "QualityIndex_8u32f_C3R"
                                       : "QualityIndex_8u32f_AC4R";
  if (a.channels == 2) throw Failure(kExitInput, "quality reads grey, RGB or RGBA");
  auto fn = a.channels == 1   ? QualityIndex_8u32f_C1R
            : a.channels == 3 ? QualityIndex_8u32f_C3R
                              : QualityIndex_8u32f_AC4R;
  Call(name, &a, [&] {
    const Status status =
        fn(a.data.data(), a.step(), b.data.data(), b.step(), a.size(), result.data());
    // A flat channel is NaN and the others are still rated: a value, not a failure.
    return status == StatusZeroDenominator ? StatusOk : status;
  });
  return result;
}

std::string Format(const std::vector<float>& values) {
  std::string text;
  for (float value : values) {
    char cell[32];
    std::snprintf(cell, sizeof cell, "%s%.6f", text.empty() ? "" : " ", value);
    text += std::isnan(value) ? (text.empty() ? "nan" : " nan") : cell;
  }
  return text;
}

// The generators fill three bytes of four-byte pixels; the tool keeps RGB.
Image Generate(ImageSize size, const char* name, const std::function<Status(Image&)>& fill) {
  Image rgba;
  rgba.allocate(size.width, size.height, 4, 8);
  Call(name, size, [&] { return fill(rgba); });
  Image rgb;
  rgb.allocate(size.width, size.height, 3, 8);
  static const int32_t kOrder[3] = {0, 1, 2};
  Call("SwapChannels_8u_C4C3R", size, [&] {
    return SwapChannels_8u_C4C3R(rgba.data.data(), rgba.step(), rgb.data.data(), rgb.step(), size,
                                 kOrder);
  });
  return rgb;
}

Image ZonePlate(int32_t width, int32_t height) {
  return Generate({width, height}, "ImageJaehne_8u_AC4R", [](Image& image) {
    return ImageJaehne_8u_AC4R(image.data.data(), image.step(), image.size());
  });
}

Image Ramp(ImageSize size, float offset, float slope, int32_t axis) {
  return Generate(size, "ImageRamp_8u_AC4R", [&](Image& image) {
    return ImageRamp_8u_AC4R(image.data.data(), image.step(), image.size(), offset, slope, axis);
  });
}

void AddMeasure(CLI::App& app) {
  gMakeZonePlate = ZonePlate;
  gMakeRamp = [](int32_t width, int32_t height) {
    return Ramp({width, height}, 0.0f, 256.0f / static_cast<float>(width), AxisHorizontal);
  };
  gQualityIndex = [](const Image& a, const Image& b) { return Format(Quality(a, b)); };

  static std::string first, second;
  CLI::App* command = app.add_subcommand("quality", "Quality index of two pictures, per channel");
  command->add_option("FIRST", first, "Reference picture")->required();
  command->add_option("SECOND", second, "Picture to rate")->required();
  SetAction(command, [] {
    std::printf("%s\n", Format(Quality(ReadImage(first), ReadImage(second))).c_str());
    return kExitOk;
  });

  static std::string kind = "zoneplate", size = "512x384", axis = "horizontal", output;
  static float offset = 0.0f, slope = -1.0f;
  command = app.add_subcommand("pattern", "Write a test pattern: zone plate or ramp");
  command->add_option("OUTPUT", output, "Picture to write")->required();
  command->add_option("--kind", kind, "zoneplate or ramp")
      ->check(CLI::IsMember({"zoneplate", "ramp"}))
      ->capture_default_str();
  command->add_option("--size", size, "WIDTHxHEIGHT")->capture_default_str();
  command->add_option("--axis", axis, "Ramp: horizontal, vertical or both (x times y)")
      ->check(CLI::IsMember({"horizontal", "vertical", "both"}))
      ->capture_default_str();
  command->add_option("--offset", offset, "Ramp: value at 0");
  command->add_option("--slope", slope, "Ramp: step per unit (default: 0 to 255 across)");
  SetAction(command, [] {
    const ImageSize s = ParseSize(size);
    if (kind == "zoneplate") {
      WriteImage(output, ZonePlate(s.width, s.height));
    } else {
      const int32_t code = axis == "horizontal" ? AxisHorizontal
                           : axis == "vertical" ? AxisVertical
                                                : AxisBoth;
      const float span = code == AxisHorizontal ? static_cast<float>(s.width)
                         : code == AxisVertical ? static_cast<float>(s.height)
                                                : static_cast<float>(s.width) * s.height;
      WriteImage(output, Ramp(s, offset, slope >= 0.0f ? slope : 256.0f / span, code));
    }
    return kExitOk;
  });
}

const Family kMeasure(5, "measure", AddMeasure, nullptr);

}  // namespace

}  // namespace nyxtool

#endif
