// nyx warp: map RGB and RGBA pictures through a perspective transform into a picture of the same
// size, from nine coefficients or a named shape fitted to the picture.
#include "tool.h"

#if NYX_HAS_WarpPerspective_8u_C3R && NYX_HAS_WarpPerspective_8u_C4R
#include <CLI/CLI.hpp>

namespace nyxtool {

namespace {

// Shapes as forward maps from source to destination pixels, fitted to a w by h picture.
std::vector<double> ShapeCoeffs(const std::string& shape, double w, double h) {
  if (shape == "keystone") {  // the top edge narrower than the bottom one
    return {1, 0.25 * w / h, 0, 0, 1.25, 0, 0, 0.5 / h, 1};
  }
  if (shape == "tilt") {  // seen from the lower left
    return {0.92, 0.04, 0.02 * w, -0.03, 0.9, 0.05 * h, 0.06 / w, 0.02 / h, 1};
  }
  if (shape == "rotate") {  // a quarter turn about the picture's centre
    return {0, -1, (w + h) / 2 - 1, 1, 0, (h - w) / 2, 0, 0, 1};
  }
  return {1, 0, 0, 0, 1, 0, 0, 0, 1};
}

int32_t Selector(const std::string& name, bool smooth) {
  const int32_t kernel = name == "nearest" ? InterNearest
                         : name == "cubic" ? InterCubic
                                           : InterLinear;
  return smooth ? kernel | EdgeSmooth : kernel;
}

// The destination starts black (transparent for RGBA): pixels outside the quadrangle stay so.
Image Warp(const Image& in, const fs::path& path, const std::vector<double>& coeffs,
           int32_t selector) {
  if (in.depth != 8 || (in.channels != 3 && in.channels != 4)) {
    throw Failure(kExitInput, path.string() + ": needs an 8-bit RGB or RGBA picture");
  }
  Image out;
  out.allocate(in.width, in.height, in.channels, 8);
  const ImageRect whole = {0, 0, in.width, in.height};
  const bool four = in.channels == 4;
  Call(four ? "WarpPerspective_8u_C4R" : "WarpPerspective_8u_C3R", &in, [&] {
    return (four ? WarpPerspective_8u_C4R : WarpPerspective_8u_C3R)(
        in.data.data(), in.size(), in.step(), whole, out.data.data(), out.step(), whole,
        coeffs.data(), selector);
  });
  return out;
}

void AddWarp(CLI::App& app) {
  static FileArgs files;
  static std::vector<double> coeffs;
  static std::string shape = "tilt", kernel = "linear";
  static bool smooth = false;
  CLI::App* command = app.add_subcommand("warp", "Map RGB or RGBA pictures through a perspective");
  AddFileArgs(*command, files);
  command
      ->add_option("--coeffs", coeffs,
                   "Nine forward coefficients c00 c01 c02 c10 c11 c12 c20 c21 c22, source to "
                   "destination pixels")
      ->expected(9);
  command->add_option("--shape", shape, "Without --coeffs: identity, tilt, keystone or rotate")
      ->check(CLI::IsMember({"identity", "tilt", "keystone", "rotate"}))
      ->capture_default_str();
  command->add_option("--kernel", kernel, "nearest, linear or cubic")
      ->check(CLI::IsMember({"nearest", "linear", "cubic"}))
      ->capture_default_str();
  command->add_flag("--smooth", smooth, "Blend the pixels along the slanted edges");
  SetAction(command, [] {
    return RunFiles(files, [](const fs::path& in, const fs::path& out) {
      const Image image = ReadImage(in);
      const std::vector<double> c =
          coeffs.empty() ? ShapeCoeffs(shape, image.width, image.height) : coeffs;
      WriteImage(out, Warp(image, in, c, Selector(kernel, smooth)));
    });
  });
}

void DemoWarp(Demo& demo) {
  const Image& in = demo.colour;
  demo.Save("warp_tilt.png",
            Warp(in, "colour", ShapeCoeffs("tilt", in.width, in.height), InterCubic | EdgeSmooth));
  // A half turn maps pixel centres onto pixel centres: two of them give the picture back.
  const std::vector<double> half = {-1, 0, in.width - 1.0, 0, -1, in.height - 1.0, 0, 0, 1};
  const Image turned = Warp(Warp(in, "colour", half, InterNearest), "turned", half, InterNearest);
  demo.steps.push_back(
      {"warp by a half turn, twice (nearest)", "warp_turns.png", turned, &demo.colour});
  demo.Save("warp_turns.png", turned);
}

const Family kWarp(60, "warp", AddWarp, DemoWarp);

}  // namespace

}  // namespace nyxtool

#endif
