#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "exif/makernote_handler.h"
#include "makernote/makernote_install.h"
#include "shooting/lens_text.h"
#include "shooting/shooting_fields.h"
#include "shooting/shooting_to_makernote.h"
#include "tests/shooting/shooting_test_data.h"
#include "tests/support/test_support.h"

using namespace shootingtest;
using testsupport::ScratchDir;

namespace {

constexpr size_t kFocal = 3, kMaxAperture = 4, kFlashSync = 7, kEvDifference = 9, kFlashCompensation = 10,
                 kSpeedlight = 11;

class ShootingToMakerNote : public ::testing::Test {
 protected:
  TagList Convert(const std::vector<std::pair<size_t, std::string>>& changes) {
    TagList list;
    CameraDataFilePtr file = ReadF6Frames(scratch_, {F6Frame(changes)});
    EXPECT_TRUE(file);
    if (file) {
      EXPECT_EQ(ShootingRecordToMakerNote(file.get(), 0, &list), 1);
    }
    return list;
  }
  std::vector<uint8_t> BytesOf(const std::vector<std::pair<size_t, std::string>>& changes, uint16_t tag) {
    const TagList list = Convert(changes);
    const TagEntry* entry = FindEntry(list, tag);
    return entry ? EntryBytes(*entry) : std::vector<uint8_t>{};
  }
  std::string TextOf(const std::vector<std::pair<size_t, std::string>>& changes, uint16_t tag) {
    const TagList list = Convert(changes);
    const TagEntry* entry = FindEntry(list, tag);
    EXPECT_TRUE(entry == nullptr || (entry->type == TypeAscii && entry->count == 13));
    return entry ? EntryText(*entry) : "(none)";
  }
  std::vector<uint32_t> LensOf(const std::string& focal, const std::string& maxAperture) {
    const TagList list = Convert({{kFocal, focal}, {kMaxAperture, maxAperture}});
    const TagEntry* lens = FindEntry(list, 132);
    if (lens == nullptr) return {};
    EXPECT_EQ(lens->type, TypeRational);
    EXPECT_EQ(lens->count, 4u);
    std::vector<uint32_t> words;
    for (uint32_t i = 0; i < 8; ++i) words.push_back(lens->U32(i));
    return words;
  }

  ScratchDir scratch_;
};

using Bytes = std::vector<uint8_t>;
using Words = std::vector<uint32_t>;

TEST_F(ShootingToMakerNote, RealFrameGivesIsoLensFlashAndCompensation) {
  const TagList list = Convert({});
  std::vector<uint16_t> tags;
  for (const TagEntry& entry : list) tags.push_back(entry.tag);
  EXPECT_EQ(tags, (std::vector<uint16_t>{2, 8, 14, 19, 23, 132, 135}));
  for (uint16_t iso : {2, 19}) {
    const TagEntry* entry = FindEntry(list, iso);
    EXPECT_EQ(entry->count, 2u);
    EXPECT_EQ(entry->U16(0), 0);
    EXPECT_EQ(entry->U16(1), 400);
  }
  EXPECT_EQ(EntryBytes(*FindEntry(list, 135)), Bytes{0});
}

TEST_F(ShootingToMakerNote, LensFromFocalLengthAndMaximumAperture) {
  EXPECT_EQ(LensOf("35", "F4"), (Words{35, 1, 35, 1, 4, 1, 4, 1}));
  EXPECT_EQ(LensOf("38(24-120)", "F3.5-F5.6"), (Words{24, 1, 120, 1, 35, 10, 56, 10}));
  // No "F": the apertures are 0, the tag still stands; no maximum aperture: no tag.
  EXPECT_EQ(LensOf("50", "1.8"), (Words{50, 1, 50, 1, 0, 1, 0, 1}));
  EXPECT_EQ(LensOf("50", ""), Words{});
  // Without a focal length the lens still gets its apertures.
  EXPECT_EQ(LensOf("", "F2.8"), (Words{0, 1, 0, 1, 28, 10, 28, 10}));
}

TEST_F(ShootingToMakerNote, FlashSyncTexts) {
  EXPECT_EQ(TextOf({{kFlashSync, "Front curtain sync"}}, 8), "NORMAL      ");
  EXPECT_EQ(TextOf({{kFlashSync, "Slow sync/Red eye reduction"}}, 8), "RED-EYE SLOW");
  EXPECT_EQ(TextOf({{kFlashSync, "Slow sync"}}, 8), "SLOW        ");
  EXPECT_EQ(TextOf({{kFlashSync, "Curtain"}}, 8), "(none)");
}

TEST_F(ShootingToMakerNote, SpeedlightTexts) {
  EXPECT_EQ(TextOf({{kSpeedlight, "None"}}, 9), "(none)");
  EXPECT_EQ(BytesOf({{kSpeedlight, "non-TTL auto flash"}}, 135), Bytes{0});
  EXPECT_EQ(TextOf({{kSpeedlight, "TTL auto flash/Optional speedlight"}}, 9), "Optional,TTL");
  EXPECT_EQ(TextOf({{kSpeedlight, "Optional speedlight/non-TTL auto flash"}}, 9), "Optional,M  ");
  EXPECT_EQ(TextOf({{kSpeedlight, "Optional speedlight/Multiple flash"}}, 9), "Comdr.,TTL  ");
  const std::vector<std::pair<size_t, std::string>> commander{
      {kSpeedlight, "Optional speedlight/Multiple flash/non-TTL auto flash"}};
  EXPECT_EQ(TextOf(commander, 9), "Comdr.,M    ");
  EXPECT_EQ(BytesOf(commander, 135), Bytes{7});
  EXPECT_EQ(BytesOf(commander, 168),
            (Bytes{'0', '1', '0', '0', 1, 54, 2, 4, 1, 6, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
  EXPECT_EQ(BytesOf({{kSpeedlight, "TTL auto flash/Optional speedlight"}}, 168)[9], 2);
}

TEST_F(ShootingToMakerNote, EvDifferenceInTwelfths) {
  EXPECT_EQ(BytesOf({{kEvDifference, "0.0"}}, 14), (Bytes{0, 1, 12, 0}));
  // -0.3 is stored as -3/12: a loss the Nikon display shows as -0.2 or so.
  EXPECT_EQ(BytesOf({{kEvDifference, "-0.3"}}, 14), (Bytes{uint8_t(-3), 1, 12, 0}));
  EXPECT_EQ(BytesOf({{kEvDifference, "-0.7"}}, 14), (Bytes{uint8_t(-8), 1, 12, 0}));
  EXPECT_EQ(BytesOf({{kEvDifference, "+1.3"}}, 14), (Bytes{15, 1, 12, 0}));
  EXPECT_EQ(BytesOf({{kEvDifference, "-8.2"}}, 14), (Bytes{uint8_t(-98), 1, 12, 0}));
}

TEST_F(ShootingToMakerNote, FlashCompensationInSixthsOrTenths) {
  EXPECT_EQ(BytesOf({{kFlashCompensation, "+0.7"}}, 23), (Bytes{4, 1, 6, 0}));
  EXPECT_EQ(BytesOf({{kFlashCompensation, "-1.0"}}, 23), (Bytes{uint8_t(-6), 1, 6, 0}));
  EXPECT_EQ(BytesOf({{kFlashCompensation, "0.2"}}, 23), (Bytes{2, 1, 10, 0}));
  EXPECT_EQ(BytesOf({{kFlashCompensation, "-2.4"}}, 23), (Bytes{uint8_t(-24), 1, 10, 0}));
}

TEST_F(ShootingToMakerNote, QueuedOnTheNikonMainTable) {
  CameraDataFilePtr file = ReadF6Frames(scratch_, {F6Frame({})});
  ASSERT_TRUE(file);
  ExifDocumentPtr document;
  ASSERT_EQ(ExifCreateEmpty(document), 1);
  ASSERT_EQ(ShootingRecordToMakerNote(file.get(), 0, document.get()), 1);
  TagList list;
  ASSERT_EQ(ShootingRecordToMakerNote(file.get(), 0, &list), 1);
  ExpectQueued(document.get(), list, 65536u + 257u);
}

// The lens line of a note made from the frame's entries.
std::string LensLine(const TagList& list, bool withNote = true) {
  MakerNoteInstall();
  ExifDocumentPtr document;
  if (ExifCreateEmpty(document) != 1) return "(no document)";
  if (withNote) {
    if (ExifCreateMakerNote(document.get()) != 1) return "(no note)";
    IfdTable* table = ExifMakerNoteTable(document.get(), kNikonMainTableKind);
    if (table == nullptr) return "(no table)";
    for (const TagEntry& entry : list) table->tags.push_back(entry);
  }
  char text[64] = "";
  if (ExifLensText(document.get(), kLensTextKind, kLensTextTag, text, sizeof text) != 1) return "(none)";
  return text;
}

TEST_F(ShootingToMakerNote, LensTextOfTheNikonNote) {
  EXPECT_EQ(LensLine(Convert({{kFocal, "38(24-120)"}, {kMaxAperture, "F3.5-F5.6"}})), "24-120mm F3.5-5.6");
  EXPECT_EQ(LensLine(Convert({{kFocal, "35"}, {kMaxAperture, "F1.8"}})), "35mm F1.8");
  EXPECT_EQ(LensLine(Convert({{kMaxAperture, ""}})), "(none)");
  EXPECT_EQ(LensLine(Convert({}), false), "(none)");
}

}  // namespace
