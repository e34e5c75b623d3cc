// nyx demo OUT_DIR: the main job without input. Makes the test patterns, runs every family's
// steps on them, writes the pictures and prints each result's quality against its source.
#include <CLI/CLI.hpp>
#include <cmath>
#include <cstdio>

#include "tool.h"

namespace nyxtool {

namespace {

constexpr int32_t kDemoWidth = 512;
constexpr int32_t kDemoHeight = 384;

// Drawn by the tool only while the library has no pattern generators.
Image DrawZonePlate(int32_t width, int32_t height) {
  Image image;
  image.allocate(width, height, 3, 8);
  const double k = 3.14159265358979 / std::max(width, height);
  for (int32_t y = 0; y < height; ++y) {
    uint8_t* p = image.row(y);
    for (int32_t x = 0; x < width; ++x, p += 3) {
      const double dx = x - width / 2.0, dy = y - height / 2.0;
      const auto value =
          static_cast<uint8_t>(std::lround(127.5 + 127.0 * std::cos(k * (dx * dx + dy * dy))));
      p[0] = value;
      p[1] = static_cast<uint8_t>(x * 255 / std::max(width - 1, 1));
      p[2] = static_cast<uint8_t>(255 - value);
    }
  }
  return image;
}

Image DrawRamp(int32_t width, int32_t height) {
  Image image;
  image.allocate(width, height, 3, 8);
  for (int32_t y = 0; y < height; ++y) {
    uint8_t* p = image.row(y);
    for (int32_t x = 0; x < width; ++x, p += 3) {
      p[0] = static_cast<uint8_t>(x * 255 / std::max(width - 1, 1));
      p[1] = static_cast<uint8_t>(y * 255 / std::max(height - 1, 1));
      p[2] = 128;
    }
  }
  return image;
}

int RunDemo(const std::string& dir) {
  std::error_code error;
  fs::create_directories(dir, error);
  if (!fs::is_directory(dir)) throw Failure(kExitOutput, dir + ": cannot create the folder");
  Demo demo;
  demo.dir = dir;
  demo.pattern = gMakeZonePlate(kDemoWidth, kDemoHeight);
  demo.ramp = gMakeRamp(kDemoWidth, kDemoHeight);
  demo.Save("zoneplate.png", demo.pattern);
  demo.Save("ramp.png", demo.ramp);
  // The patterns are grey; a colour picture built from them shows what channel order, mirror,
  // chroma subsampling and demosaicing do.
  demo.colour = demo.pattern;
  for (int32_t y = 0; y < kDemoHeight; ++y) {
    uint8_t* d = demo.colour.row(y);
    const uint8_t* r = demo.ramp.row(y);
    for (int32_t x = 0; x < kDemoWidth; ++x) {
      d[3 * x + 1] = r[3 * x];
      d[3 * x + 2] = r[3 * (kDemoWidth - 1 - x)];
    }
  }
  demo.Save("colour.png", demo.colour);
  for (const FamilyEntry& family : Families()) {
    if (family.demo) family.demo(demo);
  }
  std::printf("%-44s %-18s %8s  %s\n", "step", "picture", "max diff", "quality index");
  for (const DemoStep& step : demo.steps) {
    const int diff = MaxDifference(*step.source, step.result);
    std::printf("%-44s %-18s %8s  %s\n", step.name.c_str(), step.file.c_str(),
                diff < 0 ? "shape" : std::to_string(diff).c_str(),
                gQualityIndex ? gQualityIndex(*step.source, step.result).c_str() : "-");
  }
  std::printf("pictures in %s\n", dir.c_str());
  return kExitOk;
}

const Family kDemo(
    100, "demo",
    [](CLI::App& app) {
      static std::string dir;
      CLI::App* command =
          app.add_subcommand("demo", "Run every family on test patterns into OUT_DIR");
      command->add_option("OUT_DIR", dir, "Folder for the pictures")->required();
      SetAction(command, [] { return RunDemo(dir); });
    },
    nullptr);

}  // namespace

std::function<std::string(const Image&, const Image&)> gQualityIndex;
std::function<Image(int32_t, int32_t)> gMakeZonePlate = DrawZonePlate;
std::function<Image(int32_t, int32_t)> gMakeRamp = DrawRamp;

}  // namespace nyxtool
