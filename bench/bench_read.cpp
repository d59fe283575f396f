// Reading a file's Exif against formatting all its tags, per file, over the camera corpus:
// formatting must cost far less than reading, since every list and CSV row does both.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "exif/exif_document.h"
#include "exif/exif_reader.h"
#include "exif/value_format.h"
#include "frame/error_stack.h"
#include "shooting/engine_install.h"

namespace {

std::vector<std::string> CorpusJpegs() {
  std::vector<std::string> files;
  const char* shared = std::getenv("TAVEXON_SHARED");
  const std::filesystem::path root = std::filesystem::path(shared ? shared : "../shared") / "corpus" / "makers";
  if (!std::filesystem::is_directory(root)) return files;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(root)) {
    const std::string ext = entry.path().extension().string();
    if (entry.is_regular_file() && (ext == ".jpg" || ext == ".JPG")) files.push_back(entry.path().string());
  }
  return files;
}

const std::vector<std::string>& Files() {
  static const std::vector<std::string> files = [] {
    EngineInstall();
    return CorpusJpegs();
  }();
  return files;
}

void BM_ReadFile(benchmark::State& state) {
  const auto& files = Files();
  if (files.empty()) {
    state.SkipWithError("no corpus (set TAVEXON_SHARED)");
    return;
  }
  size_t i = 0;
  for (auto _ : state) {
    ExifDocumentPtr document;
    benchmark::DoNotOptimize(ExifCheckFile(files[i++ % files.size()], document));
    ErrorClear();
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_ReadFile);

void BM_FormatAllTags(benchmark::State& state) {
  const auto& files = Files();
  std::vector<ExifDocumentPtr> documents;
  for (const std::string& file : files) {
    ExifDocumentPtr document;
    ExifCheckFile(file, document);
    if (document) documents.push_back(std::move(document));
  }
  ErrorClear();
  if (documents.empty()) {
    state.SkipWithError("no corpus (set TAVEXON_SHARED)");
    return;
  }
  char text[129];
  size_t i = 0;
  for (auto _ : state) {
    ExifDocument* document = documents[i++ % documents.size()].get();
    for (uint32_t kind = IfdPrimary; kind <= IfdGps; ++kind) {
      ExifBeginTagWalk(document, kind);
      while (const TagEntry* entry = ExifNextTag(document)) {
        const char* name = nullptr;
        benchmark::DoNotOptimize(ExifDescribeTag(document, kind, entry, &name, text, sizeof text));
      }
      ExifEndTagWalk(document);
    }
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_FormatAllTags);

}  // namespace

BENCHMARK_MAIN();
