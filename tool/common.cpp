// Status names, timed calls, batch runs and the subcommand table.
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <mutex>
#include <thread>

#include "tool.h"

namespace nyxtool {

std::string StatusName(Status status) {
  // As the header names them.
  static const struct {
    Status value;
    const char* name;
  } kNames[] = {
      {StatusOk, "StatusOk"},
      {StatusEmptyResult, "StatusEmptyResult"},
      {StatusOtherVendor, "StatusOtherVendor"},
      {StatusBadCpuSelector, "StatusBadCpuSelector"},
      {StatusNoOverlap, "StatusNoOverlap"},
      {StatusQuadOutside, "StatusQuadOutside"},
      {StatusNoCpuInfo, "StatusNoCpuInfo"},
      {StatusCacheSizeUnknown, "StatusCacheSizeUnknown"},
      {StatusQuadNotConvex, "StatusQuadNotConvex"},
      {StatusBadArgument, "StatusBadArgument"},
      {StatusBadSize, "StatusBadSize"},
      {StatusNullPointer, "StatusNullPointer"},
      {StatusOutOfMemory, "StatusOutOfMemory"},
      {StatusBadStep, "StatusBadStep"},
      {StatusBadMirrorAxis, "StatusBadMirrorAxis"},
      {StatusBadInterpolation, "StatusBadInterpolation"},
      {StatusBadResizeFactor, "StatusBadResizeFactor"},
      {StatusBadChannelCount, "StatusBadChannelCount"},
      {StatusBadCoefficients, "StatusBadCoefficients"},
      {StatusRegionTooSmall, "StatusRegionTooSmall"},
      {StatusBadQuadrangle, "StatusBadQuadrangle"},
      {StatusBadChannelOrder, "StatusBadChannelOrder"},
      {StatusEmptyResize, "StatusEmptyResize"},
      {StatusZeroDenominator, "StatusZeroDenominator"},
  };
  for (const auto& entry : kNames) {
    if (entry.value == status) return entry.name;
  }
  return "status " + std::to_string(status);
}

Options& Global() {
  static Options options;
  return options;
}

void Call(const char* name, ImageSize size, const std::function<Status()>& call) {
  const auto start = std::chrono::steady_clock::now();
  const Status status = call();
  const auto stop = std::chrono::steady_clock::now();
  if (Global().time) {
    const double ms = std::chrono::duration<double, std::milli>(stop - start).count();
    std::fprintf(stderr, "nyx: time: %s %dx%d: %.3f ms per call\n", name, size.width, size.height,
                 ms);
  }
  if (status < 0) {
    throw Failure(kExitStatus, std::string(name) + " returned " + StatusName(status));
  }
  if (status > 0) {
    std::fprintf(stderr, "nyx: warning: %s returned %s\n", name, StatusName(status).c_str());
  }
}

void Call(const char* name, const Image* shape, const std::function<Status()>& call) {
  Call(name, shape != nullptr ? shape->size() : ImageSize{0, 0}, call);
}

Image RgbToBgr(const Image& rgb) {
  if (rgb.depth != 8 || (rgb.channels != 3 && rgb.channels != 4)) {
    throw Failure(kExitInput, "needs an 8-bit RGB or RGBA picture");
  }
  Image bgr;
  bgr.allocate(rgb.width, rgb.height, rgb.channels, 8);
  static const int32_t kOrder[3] = {2, 1, 0};
  if (rgb.channels == 3) {
    Call("SwapChannels_8u_C3R", &rgb, [&] {
      return SwapChannels_8u_C3R(rgb.data.data(), rgb.step(), bgr.data.data(), bgr.step(),
                                 rgb.size(), kOrder);
    });
  } else {
    // AC4 leaves the destination's alpha alone: carry it over first.
    bgr.data = rgb.data;
    Call("SwapChannels_8u_AC4R", &rgb, [&] {
      return SwapChannels_8u_AC4R(rgb.data.data(), rgb.step(), bgr.data.data(), bgr.step(),
                                  rgb.size(), kOrder);
    });
  }
  return bgr;
}

int MaxDifference(const Image& a, const Image& b) {
  if (a.width != b.width || a.height != b.height || a.channels != b.channels ||
      a.depth != b.depth) {
    return -1;
  }
  int most = 0;
  if (a.depth == 16) {
    const auto* p = reinterpret_cast<const uint16_t*>(a.data.data());
    const auto* q = reinterpret_cast<const uint16_t*>(b.data.data());
    for (size_t i = 0; i < a.data.size() / 2; ++i) most = std::max(most, std::abs(p[i] - q[i]));
  } else {
    for (size_t i = 0; i < a.data.size(); ++i) {
      most = std::max(most, std::abs(a.data[i] - b.data[i]));
    }
  }
  return most;
}

void AddFileArgs(CLI::App& command, FileArgs& args) {
  command.add_option("inputs", args.inputs, "Input pictures; with --out-dir also folders")
      ->required();
  command.add_option("-o,--output", args.output, "Output file (one input)");
  command.add_option("-d,--out-dir", args.outDir, "Batch: output folder for many inputs");
  command.add_option("--ext", args.ext, "Batch: extension of the outputs (default: the input's)");
}

namespace {

bool IsPicture(const fs::path& path) {
  const std::string ext = Extension(path);
  return ext == "png" || ext == "jpg" || ext == "jpeg";
}

void Progress(size_t done, size_t total) {
  const int width = 40;
  const int filled = static_cast<int>(width * done / std::max<size_t>(total, 1));
  std::fprintf(stderr, "\r[%s%s] %zu/%zu", std::string(filled, '#').c_str(),
               std::string(width - filled, '.').c_str(), done, total);
  if (done == total) std::fputc('\n', stderr);
  std::fflush(stderr);
}

}  // namespace

int RunFiles(const FileArgs& args, const FileJob& job) {
  if (args.outDir.empty()) {
    if (args.inputs.size() != 1 || args.output.empty()) {
      throw Failure(kExitUsage, "give one input and -o OUTPUT, or many inputs and -d OUTPUT_DIR");
    }
    job(args.inputs[0], args.output);
    return kExitOk;
  }
  if (!args.output.empty()) throw Failure(kExitUsage, "-o and --out-dir exclude each other");
  std::vector<fs::path> inputs;
  for (const std::string& input : args.inputs) {
    std::error_code error;
    if (fs::is_directory(input, error)) {
      std::vector<fs::path> found;
      for (const auto& entry : fs::directory_iterator(input)) {
        if (entry.is_regular_file() && IsPicture(entry.path())) found.push_back(entry.path());
      }
      std::sort(found.begin(), found.end());
      inputs.insert(inputs.end(), found.begin(), found.end());
    } else {
      inputs.emplace_back(input);
    }
  }
  std::error_code error;
  fs::create_directories(args.outDir, error);
  if (!fs::is_directory(args.outDir)) {
    throw Failure(kExitOutput, args.outDir + ": cannot create the output folder");
  }
  const auto start = std::chrono::steady_clock::now();
  std::vector<int> codes(inputs.size(), kExitOk);
  std::atomic<size_t> next{0};
  size_t done = 0;
  std::mutex lock;
  const bool bar = isatty(STDERR_FILENO) != 0;
  auto worker = [&] {
    for (size_t i; (i = next.fetch_add(1)) < inputs.size();) {
      fs::path out = fs::path(args.outDir) / inputs[i].filename();
      if (!args.ext.empty()) out.replace_extension(args.ext[0] == '.' ? args.ext : "." + args.ext);
      std::string message;
      try {
        job(inputs[i], out);
      } catch (const Failure& failure) {
        codes[i] = failure.code;
        message = failure.what();
      } catch (const std::exception& error) {
        // Nothing may escape a worker thread.
        codes[i] = kExitInput;
        message = inputs[i].string() + ": " + error.what();
      }
      std::lock_guard<std::mutex> guard(lock);
      ++done;
      if (!message.empty()) {
        std::fprintf(stderr, "%snyx: error: %s\n", bar ? "\r\033[K" : "", message.c_str());
      }
      if (bar) Progress(done, inputs.size());
    }
  };
  int threads =
      Global().jobs > 0 ? Global().jobs : static_cast<int>(std::thread::hardware_concurrency());
  threads = std::clamp<int>(threads, 1, static_cast<int>(std::max<size_t>(inputs.size(), 1)));
  std::vector<std::thread> pool;
  for (int t = 0; t < threads; ++t) pool.emplace_back(worker);
  for (auto& thread : pool) thread.join();
  const double seconds =
      std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  const size_t failed = static_cast<size_t>(
      std::count_if(codes.begin(), codes.end(), [](int code) { return code != kExitOk; }));
  std::fprintf(stderr, "nyx: %zu of %zu files done, %zu failed, %.2f s on %d threads\n",
               inputs.size() - failed, inputs.size(), failed, seconds, threads);
  for (int code : codes) {
    if (code != kExitOk) return code;
  }
  return kExitOk;
}

namespace {
std::vector<std::pair<const CLI::App*, std::function<int()>>>& Actions() {
  static std::vector<std::pair<const CLI::App*, std::function<int()>>> actions;
  return actions;
}
}  // namespace

void SetAction(CLI::App* command, std::function<int()> action) {
  Actions().emplace_back(command, std::move(action));
}

std::function<int()> ActionOf(const CLI::App* command) {
  for (const auto& [app, action] : Actions()) {
    if (app == command) return action;
  }
  return {};
}

std::vector<FamilyEntry>& Families() {
  static std::vector<FamilyEntry> families;
  return families;
}

Family::Family(int order, const char* name, std::function<void(CLI::App&)> add,
               std::function<void(Demo&)> demo) {
  Families().push_back({order, name, std::move(add), std::move(demo)});
}

}  // namespace nyxtool
