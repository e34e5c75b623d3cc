// nyx swap and nyx mirror: channel order and mirroring of 8-bit RGB and RGBA pictures.
#include <CLI/CLI.hpp>

#include "tool.h"

namespace nyxtool {

namespace {

void Need8BitColour(const Image& image, const fs::path& path) {
  if (image.depth != 8 || (image.channels != 3 && image.channels != 4)) {
    throw Failure(kExitInput, path.string() + ": needs an 8-bit RGB or RGBA picture, not " +
                                  std::to_string(image.depth) + "-bit with " +
                                  std::to_string(image.channels) + " channels");
  }
}

struct SwapArgs {
  FileArgs files;
  std::vector<int32_t> order{2, 1, 0};
  int fill = 255;
  bool dropAlpha = false;
};

// Three entries keep the channel count (RGBA keeps its alpha); four turn RGB into RGBA, entry 3
// meaning the fill value and 4 or more a byte left as it was; --drop-alpha turns RGBA into RGB.
Image Swap(const Image& in, const fs::path& path, const SwapArgs& args) {
  Need8BitColour(in, path);
  const int32_t* order = args.order.data();
  Image out;
  if (args.order.size() == 4) {
    if (in.channels != 3) throw Failure(kExitInput, path.string() + ": a 4-entry order needs RGB");
    out.allocate(in.width, in.height, 4, 8);
    Call("SwapChannels_8u_C3C4R", &in, [&] {
      return SwapChannels_8u_C3C4R(in.data.data(), in.step(), out.data.data(), out.step(),
                                   in.size(), order, static_cast<uint8_t>(args.fill));
    });
  } else if (in.channels == 4 && args.dropAlpha) {
    out.allocate(in.width, in.height, 3, 8);
    Call("SwapChannels_8u_C4C3R", &in, [&] {
      return SwapChannels_8u_C4C3R(in.data.data(), in.step(), out.data.data(), out.step(),
                                   in.size(), order);
    });
  } else if (in.channels == 4) {
    out = in;  // AC4 leaves the destination's alpha as it was
    Call("SwapChannels_8u_AC4R", &in, [&] {
      return SwapChannels_8u_AC4R(in.data.data(), in.step(), out.data.data(), out.step(), in.size(),
                                  order);
    });
  } else {
    out.allocate(in.width, in.height, 3, 8);
    Call("SwapChannels_8u_C3R", &in, [&] {
      return SwapChannels_8u_C3R(in.data.data(), in.step(), out.data.data(), out.step(), in.size(),
                                 order);
    });
  }
  return out;
}

struct MirrorArgs {
  FileArgs files;
  std::string axis = "vertical";
  bool inPlace = false;
};

int32_t AxisCode(const std::string& axis) {
  return axis == "horizontal" ? AxisHorizontal : axis == "vertical" ? AxisVertical : AxisBoth;
}

Image Mirror(const Image& in, const fs::path& path, int32_t axis, bool inPlace) {
  Need8BitColour(in, path);
  Image out = in;
  const bool four = in.channels == 4;
  if (inPlace) {
    Call(four ? "Mirror_8u_C4IR" : "Mirror_8u_C3IR", &in, [&] {
      return four ? Mirror_8u_C4IR(out.data.data(), out.step(), out.size(), axis)
                  : Mirror_8u_C3IR(out.data.data(), out.step(), out.size(), axis);
    });
  } else {
    Call(four ? "Mirror_8u_C4R" : "Mirror_8u_C3R", &in, [&] {
      return four ? Mirror_8u_C4R(in.data.data(), in.step(), out.data.data(), out.step(), in.size(),
                                  axis)
                  : Mirror_8u_C3R(in.data.data(), in.step(), out.data.data(), out.step(), in.size(),
                                  axis);
    });
  }
  return out;
}

void AddMovement(CLI::App& app) {
  static SwapArgs swap;
  CLI::App* command = app.add_subcommand("swap", "Reorder the channels of RGB or RGBA pictures");
  AddFileArgs(*command, swap.files);
  command
      ->add_option("--order", swap.order,
                   "Source channel of each output channel (3 entries; 4 for RGB to RGBA, "
                   "3 meaning --fill)")
      ->delimiter(',')
      ->expected(3, 4)
      ->capture_default_str();
  command->add_option("--fill", swap.fill, "RGB to RGBA: the value of order entry 3")
      ->check(CLI::Range(0, 255));
  command->add_flag("--drop-alpha", swap.dropAlpha, "RGBA to RGB");
  SetAction(command, [] {
    return RunFiles(swap.files, [](const fs::path& in, const fs::path& out) {
      WriteImage(out, Swap(ReadImage(in), in, swap));
    });
  });

  static MirrorArgs mirror;
  command = app.add_subcommand("mirror", "Mirror RGB or RGBA pictures");
  AddFileArgs(*command, mirror.files);
  command
      ->add_option("--axis", mirror.axis,
                   "horizontal (rows upside down), vertical (left to right) or both")
      ->check(CLI::IsMember({"horizontal", "vertical", "both"}))
      ->capture_default_str();
  command->add_flag("--in-place", mirror.inPlace, "Use the in-place form");
  SetAction(command, [] {
    return RunFiles(mirror.files, [](const fs::path& in, const fs::path& out) {
      WriteImage(out, Mirror(ReadImage(in), in, AxisCode(mirror.axis), mirror.inPlace));
    });
  });
}

void DemoMovement(Demo& demo) {
  const Image& source = demo.colour;
  SwapArgs args;
  Image bgr = Swap(source, "pattern", args);
  demo.Save("swap.png", bgr);
  demo.steps.push_back({"swap RGB to BGR and back", "swap.png", Swap(bgr, "swap", args), &source});
  Image mirrored = Mirror(source, "pattern", AxisBoth, false);
  demo.Save("mirror.png", mirrored);
  demo.steps.push_back({"mirror both axes, twice (once in place)", "mirror.png",
                        Mirror(mirrored, "mirror", AxisBoth, true), &source});
}

const Family kMovement(10, "movement", AddMovement, DemoMovement);

}  // namespace

}  // namespace nyxtool
