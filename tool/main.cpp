// nyx: try the library's primitives on pictures. Global options pick the processor row and
// timing; each family adds its subcommands (cmd_*.cpp).
#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>

#include "tool.h"

namespace nyxtool {

namespace {

// --row: a processor code for nyxStaticInitCpu, and the feature the row needs to run at all.
void SetRow(const std::string& row) {
  if (row == "auto") {
    const Status status = nyxStaticInit();
    if (status < 0) throw Failure(kExitStatus, "nyxStaticInit returned " + StatusName(status));
    return;
  }
  static const struct {
    const char* name;
    uint32_t code;
    uint64_t feature;
    const char* featureName;
  } kRows[] = {{"generic", 0, 0, ""},
               {"sse3", 32, NYX_CPU_SSE3, "SSE3"},
               {"ssse3", 33, NYX_CPU_SSSE3, "SSSE3"},
               {"sse41", 35, NYX_CPU_SSE41, "SSE4.1"}};
  for (const auto& entry : kRows) {
    if (row != entry.name) continue;
    uint64_t mask = 0;
    nyxGetCpuFeatures(&mask, nullptr);
    if ((mask & entry.feature) != entry.feature) {
      throw Failure(kExitUsage,
                    std::string("--row ") + row + ": this processor lacks " + entry.featureName);
    }
    const Status status = nyxStaticInitCpu(entry.code);
    if (status < 0) throw Failure(kExitStatus, "nyxStaticInitCpu returned " + StatusName(status));
    return;
  }
}

int Main(int argc, char** argv) {
  CLI::App app("nyx: image and video pixel primitives on your own pictures", "nyx");
  app.require_subcommand(1);
  app.set_help_all_flag("--help-all", "Help for every subcommand");
  app.footer(
      "Exit codes: 0 done, 1 the library returned an error status, 2 bad command line,\n"
      "3 input unreadable or unsupported, 4 sizes that do not fit, 5 output not written.");
  Options& options = Global();
  app.add_option("--row", options.row, "Processor row: generic, sse3, ssse3, sse41 or auto")
      ->check(CLI::IsMember({"generic", "sse3", "ssse3", "sse41", "auto"}))
      ->capture_default_str();
  app.add_flag("--time", options.time, "Print each primitive's own time per call on stderr");
  app.add_option("-j,--jobs", options.jobs, "Batch mode: threads (default: all cores)")
      ->check(CLI::Range(1, 1024));

  std::sort(Families().begin(), Families().end(),
            [](const FamilyEntry& a, const FamilyEntry& b) { return a.order < b.order; });
  for (FamilyEntry& family : Families()) family.add(app);

  try {
    app.parse(argc, argv);
  } catch (const CLI::CallForHelp& e) {
    return app.exit(e);
  } catch (const CLI::CallForAllHelp& e) {
    return app.exit(e);
  } catch (const CLI::ParseError& e) {
    std::fprintf(stderr, "nyx: error: %s (see nyx --help)\n", e.what());
    return kExitUsage;
  }
  SetRow(options.row);
  for (const CLI::App* command : app.get_subcommands()) {
    if (auto action = ActionOf(command)) return action();
  }
  return kExitOk;
}

}  // namespace

}  // namespace nyxtool

int main(int argc, char** argv) {
  try {
    return nyxtool::Main(argc, argv);
  } catch (const nyxtool::Failure& failure) {
    std::fprintf(stderr, "nyx: error: %s\n", failure.what());
    return failure.code;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "nyx: error: %s\n", error.what());
    return nyxtool::kExitOutput;
  }
}
