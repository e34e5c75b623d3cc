// nyx gamma: BT.709 gamma, forward (linear light to the coded signal) or inverse, on 8-bit RGB
// and RGBA pictures (alpha kept).
#include "tool.h"

#if NYX_HAS_GammaFwd_8u_C3R && NYX_HAS_GammaInv_8u_C3R && NYX_HAS_GammaFwd_8u_AC4R && \
    NYX_HAS_GammaInv_8u_AC4R && NYX_HAS_GammaFwd_8u_C3IR && NYX_HAS_GammaInv_8u_C3IR
#include <CLI/CLI.hpp>

namespace nyxtool {

namespace {

Image Gamma(const Image& in, const fs::path& path, bool inverse, bool inPlace) {
  if (in.depth != 8 || (in.channels != 3 && in.channels != 4)) {
    throw Failure(kExitInput, path.string() + ": needs an 8-bit RGB or RGBA picture");
  }
  Image out = in;  // AC4 leaves the destination's alpha as it was
  const bool four = in.channels == 4;
  if (inPlace && !four) {
    Call(inverse ? "GammaInv_8u_C3IR" : "GammaFwd_8u_C3IR", &in, [&] {
      return (inverse ? GammaInv_8u_C3IR : GammaFwd_8u_C3IR)(out.data.data(), out.step(),
                                                             out.size());
    });
    return out;
  }
  using Fn = Status (*)(const uint8_t*, int32_t, uint8_t*, int32_t, ImageSize);
  const Fn fn = four ? (inverse ? GammaInv_8u_AC4R : GammaFwd_8u_AC4R)
                     : (inverse ? GammaInv_8u_C3R : GammaFwd_8u_C3R);
  const char* name = four ? (inverse ? "GammaInv_8u_AC4R" : "GammaFwd_8u_AC4R")
                          : (inverse ? "GammaInv_8u_C3R" : "GammaFwd_8u_C3R");
  Call(name, &in,
       [&] { return fn(in.data.data(), in.step(), out.data.data(), out.step(), in.size()); });
  return out;
}

void AddGamma(CLI::App& app) {
  static FileArgs files;
  static bool inverse = false, inPlace = false;
  CLI::App* command =
      app.add_subcommand("gamma", "BT.709 gamma: linear to coded, or back with --inverse");
  AddFileArgs(*command, files);
  command->add_flag("--inverse", inverse, "Coded signal to linear light");
  command->add_flag("--in-place", inPlace, "Use the in-place form (RGB)");
  SetAction(command, [] {
    return RunFiles(files, [](const fs::path& in, const fs::path& out) {
      WriteImage(out, Gamma(ReadImage(in), in, inverse, inPlace));
    });
  });
}

void DemoGamma(Demo& demo) {
  const Image coded = Gamma(demo.ramp, "ramp", false, false);
  demo.Save("gamma.png", coded);
  demo.steps.push_back({"gamma forward and inverse (ramp)", "gamma.png",
                        Gamma(coded, "gamma", true, true), &demo.ramp});
}

const Family kGamma(30, "gamma", AddGamma, DemoGamma);

}  // namespace

}  // namespace nyxtool

#endif
