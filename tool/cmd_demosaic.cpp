// nyx demosaic (a grey picture holding a Bayer mosaic, 8 or 16 bit, to RGB, any grid) and
// nyx mosaic (the inverse: RGB to a mosaic, so that any photo can be tried).
#include "tool.h"

#if NYX_HAS_CFAToRGB_8u_C1C3R && NYX_HAS_CFAToRGB_16u_C1C3R
#include <CLI/CLI.hpp>
#include <cstring>

namespace nyxtool {

namespace {

int32_t GridCode(const std::string& grid) {
  return grid == "bggr"   ? BayerBGGR
         : grid == "rggb" ? BayerRGGB
         : grid == "gbrg" ? BayerGBRG
                          : BayerGRBG;
}

Image Demosaic(const Image& in, const fs::path& path, int32_t grid) {
  if (in.channels != 1) {
    throw Failure(kExitInput, path.string() + ": a mosaic is a grey picture, not " +
                                  std::to_string(in.channels) + " channels");
  }
  Image out;
  out.allocate(in.width, in.height, 3, in.depth);
  const ImageRect rect = {0, 0, in.width, in.height};
  if (in.depth == 8) {
    Call("CFAToRGB_8u_C1C3R", &in, [&] {
      return CFAToRGB_8u_C1C3R(in.data.data(), rect, in.size(), in.step(), out.data.data(),
                               out.step(), grid, 0);
    });
  } else {
    Call("CFAToRGB_16u_C1C3R", &in, [&] {
      return CFAToRGB_16u_C1C3R(reinterpret_cast<const uint16_t*>(in.data.data()), rect, in.size(),
                                in.step(), reinterpret_cast<uint16_t*>(out.data.data()), out.step(),
                                grid, 0);
    });
  }
  return out;
}

// Keeps at each site the one colour the grid puts there.
Image Mosaic(const Image& in, const fs::path& path, int32_t grid) {
  if (in.channels != 3 && in.channels != 4) {
    throw Failure(kExitInput, path.string() + ": a mosaic is made from an RGB or RGBA picture");
  }
  // Colour (0 R, 1 G, 2 B) at (x & 1, y & 1) for each grid, row by row.
  static const int kSites[4][4] = {{2, 1, 1, 0}, {0, 1, 1, 2}, {1, 2, 0, 1}, {1, 0, 2, 1}};
  Image out;
  out.allocate(in.width, in.height, 1, in.depth);
  const int bytes = in.depth / 8;
  for (int32_t y = 0; y < in.height; ++y) {
    const uint8_t* s = in.data.data() + static_cast<size_t>(y) * in.step();
    uint8_t* d = out.row(y);
    for (int32_t x = 0; x < in.width; ++x) {
      const int colour = kSites[grid][(y & 1) * 2 + (x & 1)];
      std::memcpy(d + x * bytes, s + (x * in.channels + colour) * bytes, bytes);
    }
  }
  return out;
}

void AddDemosaic(CLI::App& app) {
  static FileArgs files, mosaicFiles;
  static std::string grid = "bggr", mosaicGrid = "bggr";
  const auto grids = CLI::IsMember({"bggr", "rggb", "gbrg", "grbg"});
  CLI::App* command =
      app.add_subcommand("demosaic", "Grey PNG holding a Bayer mosaic (8 or 16 bit) to RGB");
  AddFileArgs(*command, files);
  command->add_option("--grid", grid, "Colours of the top left 2x2 cell")
      ->check(grids)
      ->capture_default_str();
  SetAction(command, [] {
    return RunFiles(files, [](const fs::path& in, const fs::path& out) {
      WriteImage(out, Demosaic(ReadImage(in), in, GridCode(grid)));
    });
  });
  command = app.add_subcommand("mosaic", "RGB picture to a grey Bayer mosaic (for demosaic)");
  AddFileArgs(*command, mosaicFiles);
  command->add_option("--grid", mosaicGrid, "Colours of the top left 2x2 cell")
      ->check(grids)
      ->capture_default_str();
  SetAction(command, [] {
    return RunFiles(mosaicFiles, [](const fs::path& in, const fs::path& out) {
      WriteImage(out, Mosaic(ReadImage(in), in, GridCode(mosaicGrid)));
    });
  });
}

void DemoDemosaic(Demo& demo) {
  const Image mosaic = Mosaic(demo.colour, "zoneplate", BayerGRBG);
  demo.Save("mosaic_grbg.png", mosaic);
  const Image back = Demosaic(mosaic, "mosaic", BayerGRBG);
  demo.Save("demosaic_grbg.png", back);
  demo.steps.push_back({"Bayer GRBG mosaic and demosaic", "demosaic_grbg.png", back, &demo.colour});
}

const Family kDemosaic(40, "demosaic", AddDemosaic, DemoDemosaic);

}  // namespace

}  // namespace nyxtool

#endif
