// The tag catalogue: the lookups by kind, the structural tags
// and the forwarding of MakerNote kinds to the open handler.
#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>

#include "exif/exif_document.h"
#include "exif/makernote_handler.h"
#include "exif/tag_catalogue.h"
#include "frame/cp932.h"

namespace {

std::string Utf8(const char* cp932) { return cp932 ? Utf8FromCp932(cp932) : std::string("(null)"); }

TEST(TagCatalogue, NamesAreLookedUpByKindAndKeepTheirSpelling) {
  EXPECT_STREQ(TagExifName(nullptr, IfdPrimary, 271), "Maker");
  EXPECT_EQ(Utf8(TagDisplayName(nullptr, IfdPrimary, 271)), "画像入力機器ﾒｰｶｰ名");
  // Tag 1 means different things in the GPS and the Interoperability tables.
  EXPECT_EQ(Utf8(TagDisplayName(nullptr, IfdGps, 1)), "北緯(N)or 南緯(S)");
  EXPECT_EQ(Utf8(TagDisplayName(nullptr, IfdInterop, 1)), "互換性識別子");
  EXPECT_EQ(Utf8(TagDisplayName(nullptr, IfdExif, 37381)), "ﾚﾝｽﾞ開放Ｆ値");
  // Display names are CP932: a half-width kana is one byte.
  EXPECT_EQ(std::strlen(TagDisplayName(nullptr, IfdExif, 37385)), 5u);
  // A tag no row describes.
  EXPECT_EQ(Utf8(TagDisplayName(nullptr, IfdExif, 305)), "不明");
  EXPECT_EQ(TagExifName(nullptr, IfdExif, 305), nullptr);
  EXPECT_EQ(Utf8(TagDisplayName(nullptr, 6, 1)), "不明");
  // The 1st IFD's table has its own half-width spelling of tag 514 and no pointer rows.
  EXPECT_EQ(Utf8(TagDisplayName(nullptr, IfdPrimary, 514)), "JPEGデータのﾊﾞｲﾄ数");
  EXPECT_EQ(Utf8(TagDisplayName(nullptr, IfdThumbnail, 514)), "JPEGﾃﾞｰﾀのﾊﾞｲﾄ数");
  EXPECT_EQ(TagCatalogueFind(TagCatalogueTable(nullptr, IfdThumbnail), TagExifIfdPointer), nullptr);
  EXPECT_EQ(TagCatalogueTable(nullptr, 6), nullptr);
}

TEST(TagCatalogue, OnlyTheSixStructuralTagsAreProtected) {
  struct Row {
    uint32_t kind;
    uint16_t tag;
    int editable;
  };
  const Row rows[] = {
      {IfdPrimary, TagExifIfdPointer, 0}, {IfdPrimary, TagGpsIfdPointer, 0}, {IfdThumbnail, TagThumbnailOffset, 0},
      {IfdThumbnail, TagThumbnailLength, 0}, {IfdExif, TagMakerNote, 0}, {IfdExif, TagInteropIfdPointer, 0},
      // The same numbers where they hold no offset, a tag of no row, and a kind of no table.
      {IfdPrimary, TagThumbnailOffset, 1}, {IfdGps, TagMakerNote, 1}, {IfdExif, 305, 1}, {300, 1, 0},
  };
  for (const Row& row : rows) EXPECT_EQ(TagIsEditable(nullptr, row.kind, row.tag), row.editable) << row.kind << " " << row.tag;
}

// A handler of one family whose catalogue has one row, for the forwarding by kind.
constexpr TagDefinition kNoteRows[] = {{7, TypeAscii, 0, "ﾃｽﾄ", "NoteTest"}, {0, 0, 0, nullptr, nullptr}};

const TagDefinition* NoteCatalogue(uint32_t table) { return table == 257 ? kNoteRows : nullptr; }
constexpr MakerNoteProtectedTag kNoteProtected[] = {{257, 7}};
const MakerNoteDescriptor kNoteDescriptor{.family = FamilyNikon, .tables = {}, .protectedTags = kNoteProtected, .catalogue = NoteCatalogue};

ExifDocumentPtr DocumentWithNote(uint32_t family) {
  ExifDocumentPtr document;
  EXPECT_EQ(ExifCreateEmpty(document), 1);
  auto handler = std::make_unique<MakerNoteHandler>();
  handler->family = family;
  handler->descriptor = &kNoteDescriptor;
  document->makerNote.reset(handler.release());
  return document;
}

TEST(TagCatalogue, MakerNoteKindsAskTheOpenHandler) {
  ExifDocumentPtr document = DocumentWithNote(FamilyNikon);
  EXPECT_EQ(TagCatalogueTable(document.get(), 257), kNoteRows);
  EXPECT_EQ(TagCatalogueTable(document.get(), FamilyNikon | 257), kNoteRows);
  EXPECT_EQ(TagCatalogueTable(document.get(), FamilyCanon | 257), nullptr);
  EXPECT_EQ(Utf8(TagDisplayName(document.get(), 257, 7)), "ﾃｽﾄ");
  EXPECT_EQ(Utf8(TagDisplayName(document.get(), FamilyCanon | 257, 7)), "不明");
  EXPECT_STREQ(TagExifName(document.get(), 257, 7), "NoteTest");
  EXPECT_EQ(TagIsEditable(document.get(), 257, 7), 0);
  EXPECT_EQ(TagIsEditable(document.get(), 257, 8), 1);

  ExifDocumentPtr plain;
  ASSERT_EQ(ExifCreateEmpty(plain), 1);
  EXPECT_EQ(TagCatalogueTable(plain.get(), 257), nullptr);
  EXPECT_EQ(Utf8(TagDisplayName(plain.get(), 257, 7)), "不明");
  EXPECT_EQ(TagIsEditable(plain.get(), 257, 8), 0);
}

}  // namespace
