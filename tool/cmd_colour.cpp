// nyx convert: RGB pictures to and from packed 4:2:2 (CbYCr and YCbCr byte orders, the 601 and
// 709 coefficient sets). The library works in BGR; the tool swaps the file's RGB through it.
#include "tool.h"

#if NYX_HAS_BGRToYCbCr422_8u_C3C2R && NYX_HAS_CbYCr422ToBGR_709HDTV_8u_C2C3R
#include <CLI/CLI.hpp>

namespace nyxtool {

namespace {

struct ConvertArgs {
  FileArgs files;
  std::string order = "cbycr";  // byte order of the 4:2:2 side
  std::string set = "601";      // coefficient set
  std::string size;             // of a raw 4:2:2 input
};

bool IsRaw(const fs::path& path) {
  const std::string ext = Extension(path);
  return ext == "yuv" || ext == "uyvy" || ext == "yuyv" || ext == "raw";
}

[[noreturn]] void NoSuchForm(const ConvertArgs& args) {
  throw Failure(kExitUsage, "the library has no " + args.set + " conversion in " + args.order +
                                " order (709 is CbYCr only)");
}

// BGR (3 bytes) or BGRA (4 bytes) to packed 4:2:2, width * 2 bytes a row.
std::vector<uint8_t> To422(const Image& rgb, const ConvertArgs& args) {
  if (rgb.width % 2 != 0) {
    throw Failure(kExitSize, "4:2:2 files need an even width, not " + std::to_string(rgb.width));
  }
  const Image bgr = RgbToBgr(rgb);
  std::vector<uint8_t> out(static_cast<size_t>(rgb.width) * 2 * rgb.height);
  const int32_t outStep = rgb.width * 2;
  const uint8_t* s = bgr.data.data();
  const bool four = bgr.channels == 4;
  const bool cb = args.order == "cbycr", hd = args.set == "709";
  using Fn = Status (*)(const uint8_t*, int32_t, uint8_t*, int32_t, ImageSize);
  Fn fn = nullptr;
  const char* name = "";
  if (cb && hd) {
    fn = four ? BGRToCbYCr422_709HDTV_8u_AC4C2R : BGRToCbYCr422_709HDTV_8u_C3C2R;
    name = four ? "BGRToCbYCr422_709HDTV_8u_AC4C2R" : "BGRToCbYCr422_709HDTV_8u_C3C2R";
  } else if (!cb && !hd) {
    fn = four ? BGRToYCbCr422_8u_AC4C2R : BGRToYCbCr422_8u_C3C2R;
    name = four ? "BGRToYCbCr422_8u_AC4C2R" : "BGRToYCbCr422_8u_C3C2R";
  } else if (cb) {
    // The 601 CbYCr form reads four-byte pixels only.
    Image bgra;
    if (!four) {
      bgra.allocate(bgr.width, bgr.height, 4, 8);
      static const int32_t kOrder[4] = {0, 1, 2, 3};
      Call("SwapChannels_8u_C3C4R", &bgr, [&] {
        return SwapChannels_8u_C3C4R(bgr.data.data(), bgr.step(), bgra.data.data(), bgra.step(),
                                     bgr.size(), kOrder, 255);
      });
    }
    const Image& src = four ? bgr : bgra;
    Call("BGRToCbYCr422_8u_AC4C2R", &src, [&] {
      return BGRToCbYCr422_8u_AC4C2R(src.data.data(), src.step(), out.data(), outStep, src.size());
    });
    return out;
  } else {
    NoSuchForm(args);
  }
  Call(name, &bgr, [&] { return fn(s, bgr.step(), out.data(), outStep, bgr.size()); });
  return out;
}

// Packed 4:2:2 to an RGB picture.
Image From422(const std::vector<uint8_t>& in, ImageSize size, const ConvertArgs& args) {
  const bool cb = args.order == "cbycr", hd = args.set == "709";
  if (!cb && hd) NoSuchForm(args);
  Image bgr;
  // The 601 CbYCr form writes four-byte pixels only; its alpha is dropped below.
  const bool four = cb && !hd;
  bgr.allocate(size.width, size.height, four ? 4 : 3, 8);
  const int32_t step = size.width * 2;
  if (four) {
    Call("CbYCr422ToBGR_8u_C2C4R", size, [&] {
      return CbYCr422ToBGR_8u_C2C4R(in.data(), step, bgr.data.data(), bgr.step(), size, 255);
    });
  } else if (cb) {
    Call("CbYCr422ToBGR_709HDTV_8u_C2C3R", size, [&] {
      return CbYCr422ToBGR_709HDTV_8u_C2C3R(in.data(), step, bgr.data.data(), bgr.step(), size);
    });
  } else {
    Call("YCbCr422ToBGR_8u_C2C3R", size, [&] {
      return YCbCr422ToBGR_8u_C2C3R(in.data(), step, bgr.data.data(), bgr.step(), size);
    });
  }
  Image rgb;
  rgb.allocate(size.width, size.height, 3, 8);
  static const int32_t kOrder[3] = {2, 1, 0};
  Call(four ? "SwapChannels_8u_C4C3R" : "SwapChannels_8u_C3R", size, [&] {
    return four ? SwapChannels_8u_C4C3R(bgr.data.data(), bgr.step(), rgb.data.data(), rgb.step(),
                                        size, kOrder)
                : SwapChannels_8u_C3R(bgr.data.data(), bgr.step(), rgb.data.data(), rgb.step(),
                                      size, kOrder);
  });
  return rgb;
}

void Convert(const fs::path& in, const fs::path& out, const ConvertArgs& args) {
  if (IsRaw(in)) {
    if (args.size.empty()) throw Failure(kExitUsage, in.string() + ": a raw input needs --size");
    const ImageSize size = ParseSize(args.size);
    if (size.width % 2 != 0) throw Failure(kExitSize, "4:2:2 files need an even width");
    const auto bytes = ReadRaw(in, static_cast<size_t>(size.width) * 2 * size.height);
    WriteImage(out, From422(bytes, size, args));
  } else {
    if (!IsRaw(out)) {
      throw Failure(kExitUsage, out.string() + ": a picture converts to a raw .yuv 4:2:2 file");
    }
    WriteRaw(out, To422(ReadImage(in), args));
  }
}

void AddColour(CLI::App& app) {
  static ConvertArgs args;
  CLI::App* command = app.add_subcommand(
      "convert", "RGB pictures to packed 4:2:2 (.yuv) and back (raw input needs --size)");
  AddFileArgs(*command, args.files);
  command->add_option("--order", args.order, "4:2:2 byte order: cbycr (Cb Y Cr Y) or ycbcr")
      ->check(CLI::IsMember({"cbycr", "ycbcr"}))
      ->capture_default_str();
  command->add_option("--set", args.set, "Coefficient set: 601 (studio range) or 709")
      ->check(CLI::IsMember({"601", "709"}))
      ->capture_default_str();
  command->add_option("--size", args.size, "WIDTHxHEIGHT of a raw 4:2:2 input");
  SetAction(command, [] {
    return RunFiles(args.files,
                    [](const fs::path& in, const fs::path& out) { Convert(in, out, args); });
  });
}

void DemoColour(Demo& demo) {
  for (const char* order : {"cbycr", "ycbcr"}) {
    for (const char* set : {"601", "709"}) {
      ConvertArgs args;
      args.order = order;
      args.set = set;
      if (args.order == "ycbcr" && args.set == "709") continue;
      const Image back = From422(To422(demo.pattern, args), demo.pattern.size(), args);
      const std::string file = std::string("422_") + order + "_" + set + ".png";
      demo.Save(file, back);
      demo.steps.push_back(
          {std::string("4:2:2 ") + order + " " + set + " and back", file, back, &demo.pattern});
    }
  }
}

const Family kColour(20, "colour", AddColour, DemoColour);

}  // namespace

}  // namespace nyxtool

#endif
