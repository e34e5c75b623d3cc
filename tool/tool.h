// Shared pieces of the nyx tool: pictures in memory, files, errors, timed library calls, batch
// runs and the table of subcommands. The tool is a host like any other: it reaches the library
// only through nyx.h.
#ifndef NYX_TOOL_TOOL_H
#define NYX_TOOL_TOOL_H

#include <cstdint>
#include <filesystem>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include "nyx.h"

namespace CLI {
class App;
}

namespace nyxtool {

namespace fs = std::filesystem;

// Exit codes, one per kind of failure.
enum Exit : int {
  kExitOk = 0,
  kExitStatus = 1,  // the library returned an error status
  kExitUsage = 2,   // bad command line or option value
  kExitInput = 3,   // input unreadable or of an unsupported kind
  kExitSize = 4,    // sizes that do not fit the operation or the file
  kExitOutput = 5,  // output could not be written
};

// A failure that ends the current file (or the run): a one-line message and its exit code.
struct Failure : std::runtime_error {
  Failure(Exit code, const std::string& message) : std::runtime_error(message), code(code) {}
  Exit code;
};

// Interleaved pixels, rows tight: width * channels * (depth / 8) bytes a row.
struct Image {
  int32_t width = 0;
  int32_t height = 0;
  int32_t channels = 0;  // 1 grey, 3 RGB, 4 RGBA (PNG and JPEG order)
  int32_t depth = 8;     // bits per sample: 8 or 16 (16-bit samples in host order)
  std::vector<uint8_t> data;

  int32_t step() const { return width * channels * (depth / 8); }
  uint8_t* row(int32_t y) { return data.data() + static_cast<size_t>(y) * step(); }
  ImageSize size() const { return {width, height}; }
  void allocate(int32_t w, int32_t h, int32_t c, int32_t d) {
    width = w, height = h, channels = c, depth = d;
    data.assign(static_cast<size_t>(step()) * h, 0);
  }
};

// Raw video frames: packed 4:2:2 (two bytes a pixel) or planar 4:2:0 (Y, then Cb, then Cr).
struct Frame420 {
  int32_t width = 0;
  int32_t height = 0;
  std::vector<uint8_t> y, cb, cr;
};

// Pictures by file extension: .png (8/16 bit, grey, RGB, RGBA), .jpg/.jpeg (8-bit grey, RGB).
Image ReadImage(const fs::path& path);
void WriteImage(const fs::path& path, const Image& image);
// Raw files: the size comes from the command line and must match the file's length.
std::vector<uint8_t> ReadRaw(const fs::path& path, size_t expected);
void WriteRaw(const fs::path& path, const std::vector<uint8_t>& bytes);
// YUV4MPEG2 with one 4:2:0 frame (the first frame of a longer file).
Frame420 ReadY4m(const fs::path& path);
void WriteY4m(const fs::path& path, const Frame420& frame);
// Writes through a temporary name in the same folder and renames, so no partial file remains.
void WriteAtomically(const fs::path& path, const std::function<void(std::FILE*)>& write);

std::string Lower(std::string text);
std::string Extension(const fs::path& path);  // lower case, without the dot
// "WxH" with both at least 1.
ImageSize ParseSize(const std::string& text);

// The header's name of a status ("StatusBadSize"), or its number.
std::string StatusName(Status status);

// Runs one library call: times it when --time is on, turns an error status into a Failure,
// reports a warning status on stderr.
void Call(const char* name, const Image* shape, const std::function<Status()>& call);
void Call(const char* name, ImageSize size, const std::function<Status()>& call);

// Channel order between the file's RGB and the library's BGR, through SwapChannels.
Image RgbToBgr(const Image& rgb);  // 3 or 4 channels; alpha is kept
// Exact comparison and the largest difference, for round trips.
int MaxDifference(const Image& a, const Image& b);

// Global options.
struct Options {
  std::string row = "auto";
  bool time = false;
  int jobs = 0;  // 0: all cores
};
Options& Global();

// What a subcommand does once the command line is parsed and the row is set; returns the exit
// code or throws a Failure.
void SetAction(CLI::App* command, std::function<int()> action);
std::function<int()> ActionOf(const CLI::App* command);

// Per-file work of a subcommand: read `in`, write `out`.
using FileJob = std::function<void(const fs::path& in, const fs::path& out)>;

// Inputs, output and batch options every file subcommand shares.
struct FileArgs {
  std::vector<std::string> inputs;
  std::string output;
  std::string outDir;
  std::string ext;  // batch: output extension (default: the input's)
};
// Adds IN..., -o OUT, -d DIR and --ext to a subcommand.
void AddFileArgs(CLI::App& command, FileArgs& args);
// One input and -o, or many inputs (files or folders) and -d: runs `job` on each, in batch mode
// on all cores with a progress bar on a terminal and a summary line.
int RunFiles(const FileArgs& args, const FileJob& job);

// The demo: a pattern, each family's steps on it, pictures in a folder and a table.
struct DemoStep {
  std::string name;     // what was done
  std::string file;     // picture written, relative to the folder
  Image result;         // compared with `source`
  const Image* source;  // what the result should resemble
};
struct Demo {
  fs::path dir;
  Image pattern;  // RGB zone plate
  Image ramp;     // RGB ramp
  Image colour;   // red the zone plate, green the ramp, blue the ramp reversed
  std::vector<DemoStep> steps;
  void Save(const std::string& file, const Image& image) const { WriteImage(dir / file, image); }
};

// A subcommand family: `add` declares its subcommands, `demo` adds its steps. Registered by a
// static Family object in its own file; `order` sorts them in help and in the demo.
struct Family {
  Family(int order, const char* name, std::function<void(CLI::App&)> add,
         std::function<void(Demo&)> demo);
};
struct FamilyEntry {
  int order;
  std::string name;
  std::function<void(CLI::App&)> add;
  std::function<void(Demo&)> demo;
};
std::vector<FamilyEntry>& Families();

// Quality of `result` against `source` as the demo table shows it; defined by the quality
// family when the library has it.
extern std::function<std::string(const Image& source, const Image& result)> gQualityIndex;
// The demo's source pattern; the pattern family replaces the tool's own drawing.
extern std::function<Image(int32_t width, int32_t height)> gMakeZonePlate;
extern std::function<Image(int32_t width, int32_t height)> gMakeRamp;

}  // namespace nyxtool

#endif  // NYX_TOOL_TOOL_H
