// tavexon-cli decode: decodes a baseline JPEG with Tavexon's own decoder and writes it as PPM
// or PNG; --json reports the header, the path taken and the time of the decode.
#include <chrono>
#include <cstdio>
#include <string>

#include <nlohmann/json.hpp>

#include "cli/cli_image_file.h"
#include "cli/cli_output.h"
#include "cli/commands.h"
#include "codec/jpeg_decoder.h"
#include "frame/message_table.h"

namespace {

struct DecodeOptions {
  std::string file;
  std::string out;
  bool half = false;
  int method = -1;
  bool json = false;
};

constexpr const char* kPathNames[] = {"single", "pipeline", "segments"};

// A refused or broken file: the decoder's status and message 71.
int DecodeRefused(const std::string& path) {
  std::string message = CliMessage(MsgUnsupportedFile);
  while (!message.empty() && message.front() == '\n') message.erase(message.begin());
  std::fprintf(stderr, "%s: error -1: %s\n", path.c_str(), message.c_str());
  return CliFailure;
}

int DecodeRun(const DecodeOptions& options) {
  JpegDecoder* raw = nullptr;
  const auto start = std::chrono::steady_clock::now();
  if (JpegDecoderOpen(options.file, nullptr, 0, &raw) != 0) return DecodeRefused(options.file);
  JpegDecoderPtr decoder(raw);
  if (options.method >= 0) JpegDecoderSetMethod(decoder.get(), options.method);
  RasterImage image;
  if (JpegDecoderDecode(decoder.get(), &image, options.half ? 1 : 0) != 0) return DecodeRefused(options.file);
  const double ms = std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
  if (!options.out.empty() && !CliWriteImage(options.out, image)) {
    std::fprintf(stderr, "%s: cannot write\n", options.out.c_str());
    return CliFailure;
  }
  if (options.json) {
    JpegDecoderInfo info;
    JpegDecoderDescribe(decoder.get(), &info);
    nlohmann::json sampling = nlohmann::json::array();
    for (int32_t c = 0; c < info.components; ++c) sampling.push_back({info.hSampling[c], info.vSampling[c]});
    const nlohmann::json report = {{"file", options.file},
                                   {"width", info.width},
                                   {"height", info.height},
                                   {"components", info.components},
                                   {"sampling", sampling},
                                   {"restart_interval", info.restartInterval},
                                   {"path", info.path >= 0 && info.path <= 2 ? kPathNames[info.path] : "none"},
                                   {"half_size", info.halfSize != 0},
                                   {"output_width", image.width},
                                   {"output_height", image.height},
                                   {"milliseconds", ms}};
    std::printf("%s\n", report.dump(2).c_str());
  }
  return CliSuccess;
}

}  // namespace

void CliDecodeRegister(CLI::App& app) {
  static DecodeOptions options;
  CLI::App* command = app.add_subcommand("decode", "Decode a baseline JPEG to PPM or PNG");
  command->add_option("FILE", options.file, "the JPEG file")->required()->check(CLI::ExistingFile);
  command->add_option("-o,--out", options.out, "write the picture here (.png for PNG, else binary PPM)");
  command->add_flag("--half", options.half, "decode at half size (threaded paths only)");
  command->add_option("--method", options.method, "DECODE_METHOD: 0 one thread, 1 or 2 threads (default: setting)")
      ->check(CLI::Range(0, 2));
  command->add_flag("--json", options.json, "report the header, the path and the time as JSON");
  command->callback([] {
    const int code = DecodeRun(options);
    if (code != CliSuccess) throw CLI::RuntimeError(code);
  });
}
