// nyx resize: scale RGB and RGBA pictures by a factor with any of the library's kernels.
#include "tool.h"

#if NYX_HAS_ResizeGetBufSize && NYX_HAS_ResizeSqrPixel_8u_C3R && NYX_HAS_ResizeSqrPixel_8u_C4R
#include <CLI/CLI.hpp>
#include <cmath>

namespace nyxtool {

namespace {

int32_t Kernel(const std::string& name) {
  return name == "nearest"   ? InterNearest
         : name == "linear"  ? InterLinear
         : name == "cubic"   ? InterCubic
         : name == "lanczos" ? InterLanczos
                             : InterSuper;
}

Image Resize(const Image& in, const fs::path& path, double factor, int32_t kernel) {
  if (in.depth != 8 || (in.channels != 3 && in.channels != 4)) {
    throw Failure(kExitInput, path.string() + ": needs an 8-bit RGB or RGBA picture");
  }
  const int32_t width = static_cast<int32_t>(std::floor(in.width * factor));
  const int32_t height = static_cast<int32_t>(std::floor(in.height * factor));
  if (width < 1 || height < 1) throw Failure(kExitSize, "the factor leaves no pixel");
  Image out;
  out.allocate(width, height, in.channels, 8);
  const ImageRect srcRoi = {0, 0, in.width, in.height}, dstRoi = {0, 0, width, height};
  int32_t bytes = 0;
  Call("ResizeGetBufSize", &in,
       [&] { return ResizeGetBufSize(srcRoi, dstRoi, in.channels, kernel, &bytes); });
  std::vector<uint8_t> buffer(static_cast<size_t>(std::max(bytes, 1)));
  const bool four = in.channels == 4;
  Call(four ? "ResizeSqrPixel_8u_C4R" : "ResizeSqrPixel_8u_C3R", &in, [&] {
    return (four ? ResizeSqrPixel_8u_C4R : ResizeSqrPixel_8u_C3R)(
        in.data.data(), in.size(), in.step(), srcRoi, out.data.data(), out.step(), dstRoi, factor,
        factor, 0.0, 0.0, kernel, buffer.data());
  });
  return out;
}

void AddResize(CLI::App& app) {
  static FileArgs files;
  static double factor = 0.5;
  static std::string kernel = "linear";
  CLI::App* command = app.add_subcommand("resize", "Scale RGB or RGBA pictures by a factor");
  AddFileArgs(*command, files);
  command->add_option("--factor", factor, "Scale factor on both axes")->capture_default_str();
  command->add_option("--kernel", kernel, "nearest, linear, cubic, lanczos or super (area)")
      ->check(CLI::IsMember({"nearest", "linear", "cubic", "lanczos", "super"}))
      ->capture_default_str();
  SetAction(command, [] {
    return RunFiles(files, [](const fs::path& in, const fs::path& out) {
      WriteImage(out, Resize(ReadImage(in), in, factor, Kernel(kernel)));
    });
  });
}

void DemoResize(Demo& demo) {
  const Image half = Resize(demo.colour, "colour", 0.5, InterSuper);
  demo.Save("resize_half.png", half);
  demo.steps.push_back({"resize to half (area) and back (cubic)", "resize_back.png",
                        Resize(half, "half", 2.0, InterCubic), &demo.colour});
  demo.Save("resize_back.png", demo.steps.back().result);
}

const Family kResize(50, "resize", AddResize, DemoResize);

}  // namespace

}  // namespace nyxtool

#endif
