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

#if NYX_HAS_CbYCr422ToYCrCb420_8u_C2P3R && NYX_HAS_YCbCr422ToYCrCb420_8u_C2P3R && \
    NYX_HAS_YCrCb420ToCbYCr422_8u_P3C2R && NYX_HAS_YCrCb420ToYCbCr422_8u_P3C2R
constexpr bool kHas420 = true;

// Packed 4:2:2 (in --order) to 4:2:0 planes; the library's plane order is Y, Cr, Cb.
Frame420 To420(const std::vector<uint8_t>& packed, ImageSize size, const ConvertArgs& args) {
  Frame420 frame;
  frame.width = size.width;
  frame.height = size.height;
  frame.y.resize(static_cast<size_t>(size.width) * size.height);
  frame.cb.resize(frame.y.size() / 4);
  frame.cr.resize(frame.y.size() / 4);
  uint8_t* planes[3] = {frame.y.data(), frame.cr.data(), frame.cb.data()};
  int32_t steps[3] = {size.width, size.width / 2, size.width / 2};
  const bool cb = args.order == "cbycr";
  Call(cb ? "CbYCr422ToYCrCb420_8u_C2P3R" : "YCbCr422ToYCrCb420_8u_C2P3R", size, [&] {
    return cb ? CbYCr422ToYCrCb420_8u_C2P3R(packed.data(), size.width * 2, planes, steps, size)
              : YCbCr422ToYCrCb420_8u_C2P3R(packed.data(), size.width * 2, planes, steps, size);
  });
  return frame;
}

std::vector<uint8_t> From420(const Frame420& frame, const ConvertArgs& args) {
  const ImageSize size = {frame.width, frame.height};
  std::vector<uint8_t> packed(static_cast<size_t>(size.width) * 2 * size.height);
  const uint8_t* planes[3] = {frame.y.data(), frame.cr.data(), frame.cb.data()};
  int32_t steps[3] = {size.width, size.width / 2, size.width / 2};
  const bool cb = args.order == "cbycr";
  Call(cb ? "YCrCb420ToCbYCr422_8u_P3C2R" : "YCrCb420ToYCbCr422_8u_P3C2R", size, [&] {
    return cb ? YCrCb420ToCbYCr422_8u_P3C2R(planes, steps, packed.data(), size.width * 2, size)
              : YCrCb420ToYCbCr422_8u_P3C2R(planes, steps, packed.data(), size.width * 2, size);
  });
  return packed;
}
#else
constexpr bool kHas420 = false;
Frame420 To420(const std::vector<uint8_t>&, ImageSize, const ConvertArgs&) {
  throw Failure(kExitUsage, "this build of the library has no 4:2:0 repacking");
}
std::vector<uint8_t> From420(const Frame420&, const ConvertArgs&) {
  throw Failure(kExitUsage, "this build of the library has no 4:2:0 repacking");
}
#endif

// Routes by the two files' kinds: picture, raw packed 4:2:2 (.yuv) or 4:2:0 (.y4m). Pictures
// pass through BGR and 4:2:2; 4:2:0 is repacked from and to 4:2:2 in --order.
void Convert(const fs::path& in, const fs::path& out, const ConvertArgs& args) {
  const bool inY4m = Extension(in) == "y4m", outY4m = Extension(out) == "y4m";
  const bool inRaw = IsRaw(in), outRaw = IsRaw(out);
  if ((inY4m || outY4m) && !kHas420) From420({}, args);
  if (!inRaw && !inY4m && !outRaw && !outY4m) {
    throw Failure(kExitUsage, "one side of convert is a .yuv (4:2:2) or .y4m (4:2:0) file");
  }
  ImageSize size{0, 0};
  std::vector<uint8_t> packed;
  if (inY4m) {
    const Frame420 frame = ReadY4m(in);
    size = {frame.width, frame.height};
    packed = From420(frame, args);
  } else if (inRaw) {
    if (args.size.empty()) throw Failure(kExitUsage, in.string() + ": a raw input needs --size");
    size = ParseSize(args.size);
    if (size.width % 2 != 0) throw Failure(kExitSize, "4:2:2 files need an even width");
    packed = ReadRaw(in, static_cast<size_t>(size.width) * 2 * size.height);
  } else {
    const Image picture = ReadImage(in);
    size = picture.size();
    packed = To422(picture, args);
  }
  if (outY4m) {
    if (size.width % 2 != 0 || size.height % 2 != 0 || size.height < 2) {
      throw Failure(kExitSize, "4:2:0 needs an even width and height, not " +
                                   std::to_string(size.width) + "x" + std::to_string(size.height));
    }
    WriteY4m(out, To420(packed, size, args));
  } else if (outRaw) {
    WriteRaw(out, packed);
  } else {
    WriteImage(out, From422(packed, size, args));
  }
}

void AddColour(CLI::App& app) {
  static ConvertArgs args;
  CLI::App* command = app.add_subcommand(
      "convert",
      "RGB pictures to and from packed 4:2:2 (.yuv, input needs --size) and 4:2:0 (.y4m)");
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
      const Image back = From422(To422(demo.colour, args), demo.colour.size(), args);
      const std::string file = std::string("422_") + order + "_" + set + ".png";
      demo.Save(file, back);
      demo.steps.push_back(
          {std::string("4:2:2 ") + order + " " + set + " and back", file, back, &demo.colour});
    }
  }
  if (kHas420) {
    // 4:2:0 keeps every other chroma row of the 4:2:2 frame.
    ConvertArgs args;
    const ImageSize size = demo.colour.size();
    const Frame420 frame = To420(To422(demo.colour, args), size, args);
    WriteY4m(demo.dir / "colour.y4m", frame);
    const Image back = From422(From420(frame, args), size, args);
    demo.Save("420_cbycr_601.png", back);
    demo.steps.push_back(
        {"4:2:0 via 4:2:2 cbycr 601 and back", "420_cbycr_601.png", back, &demo.colour});
  }
}

const Family kColour(20, "colour", AddColour, DemoColour);

}  // namespace

}  // namespace nyxtool

#endif
