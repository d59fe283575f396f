// The batch shrink over a real folder tree: sizes by each mode, the tree recreated, the
// questions asked as a user meets them, and refusals that write nothing.
#include "tools/shrink.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <vector>

#include "codec/jpeg_decoder.h"
#include "codec/raster_scale.h"
#include "makernote/makernote_install.h"
#include "tests/support/prompt_script.h"
#include "tests/support/test_support.h"

namespace fs = std::filesystem;

namespace {

std::pair<int32_t, int32_t> SizeOf(const fs::path& file) {
  int32_t w = 0, h = 0;
  JpegProbeSize(file.string(), &w, &h);
  return {w, h};
}

}  // namespace

TEST(ShrinkBatch, ModesTreesQuestionsAndRefusals) {
  TAVEXON_REQUIRE_SHARED("corpus/jpeg/ljt_testorig.jpg");
  MakerNoteInstall();
  testsupport::ScratchDir scratch;
  const fs::path in = scratch / "in", out = scratch / "out";
  fs::create_directories(in / "roll2");
  fs::copy_file(testsupport::SharedSub("corpus/jpeg/ljt_testorig.jpg"), in / "a.jpg");
  fs::copy_file(testsupport::SharedSub("corpus/makers/nikon/digicam_D90_DSC_0003.JPG"), in / "roll2" / "b.jpg");
  testsupport::WriteBytes(in / "roll2" / "broken.jpg", {0xFF, 0xD8, 0xFF, 0xD9});
  const auto [aw, ah] = SizeOf(in / "a.jpg");

  ShrinkSettings settings;
  settings.inputFolder = in.string();
  settings.outputFolder = out.string();
  settings.type = ShrinkBySize;
  settings.width1 = 100;
  settings.height1 = 100;
  testsupport::PromptScript script;
  script.otherwise = PromptAnswerNo;
  ShrinkResult result = ShrinkBatchRun(settings, nullptr, &script.prompt);
  EXPECT_EQ(result.written, 2u);
  EXPECT_EQ(result.skipped, 1u);  // the broken file, asked with message 60 and answered "no"
  EXPECT_EQ(script.ids, std::vector<uint32_t>{60});
  const auto [bw, bh] = SizeOf(out / "a.jpg");
  EXPECT_TRUE((bw == 100 && bh <= 100) || (bh == 100 && bw <= 100)) << bw << "x" << bh;
  EXPECT_TRUE(fs::exists(out / "roll2" / "b.jpg"));
  EXPECT_FALSE(fs::exists(out / "roll2" / "broken.jpg"));

  // Again: existing outputs are asked about; "no" keeps them byte for byte.
  const auto kept = testsupport::ReadBytes(out / "a.jpg");
  script.Forget();
  settings.type = ShrinkByPercent;
  settings.percent = "50.0%";
  result = ShrinkBatchRun(settings, nullptr, &script.prompt);
  EXPECT_EQ(result.written, 0u);
  EXPECT_EQ(script.ids, (std::vector<uint32_t>{58, 58, 60}));
  EXPECT_EQ(testsupport::ReadBytes(out / "a.jpg"), kept);
  script.otherwise = PromptAnswerYes;  // overwrite, and end at the broken file
  result = ShrinkBatchRun(settings, nullptr, &script.prompt);
  EXPECT_EQ(result.written, 2u);
  EXPECT_TRUE(result.stopped);
  EXPECT_EQ(SizeOf(out / "a.jpg"), std::make_pair(int32_t(aw / 2), int32_t(ah / 2)));

  // Long and short side: an upright picture puts its long side down.
  ShrinkSettings sides;
  sides.type = ShrinkByLongShort;
  sides.width2 = 160;
  sides.height2 = 120;
  EXPECT_EQ(ShrinkFactorFor(sides, 3000, 4000), ScaleFactorFor(4000, 160));
  EXPECT_EQ(ShrinkFactorFor(sides, 4000, 3000), ScaleFactorFor(4000, 160));
  EXPECT_EQ(ShrinkFactorFor(sides, 100, 150), 1.0f);

  // Refusals, with nothing written: missing fields, a missing folder, the same folder or one
  // inside the other, values out of range.
  struct Refusal {
    std::string inputFolder, outputFolder, percent;
    uint32_t message;
  };
  for (const Refusal& r : {Refusal{"", out.string(), "50", 63}, Refusal{(scratch / "none").string(), "x", "50", 64},
                           Refusal{in.string(), "", "50", 65}, Refusal{in.string(), (in / ".").string(), "50", 67},
                           Refusal{in.string(), (in / "sub").string(), "50", 67},
                           Refusal{in.string(), out.string(), "1", 68}, Refusal{in.string(), out.string(), "100", 68}}) {
    ShrinkSettings bad = settings;
    bad.inputFolder = r.inputFolder;
    bad.outputFolder = r.outputFolder;
    bad.percent = r.percent;
    EXPECT_EQ(ShrinkBatchRun(bad, nullptr, &script.prompt).messageId, r.message) << r.inputFolder << " " << r.outputFolder;
  }
  EXPECT_GT(ShrinkPercentFactor("1.1"), 0.0f);
  EXPECT_GT(ShrinkPercentFactor("99.9"), 0.0f);
  EXPECT_FALSE(fs::exists(in / "sub"));
}
