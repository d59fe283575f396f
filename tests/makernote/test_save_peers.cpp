// Saves that force a rebuild (a long new Artist, or the other byte order), read back by two
// independent readers: every tag reads as before apart from the edit, the MakerNote's own
// tags included, with the note kept in place, rebuilt by its handler, or its move recorded.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <iostream>
#include <map>
#include <set>
#include <sstream>
#include <string>

#include "frame/message_table.h"
#include "makernote/makernote_save.h"
#include "makernote/makernote_verify.h"
#include "tests/makernote/maker_listing.h"
#include "tests/support/peers.h"
#include "tests/support/prompt_script.h"
#include "tests/support/test_support.h"
#include "tests/support/tiff_builder.h"

namespace {

namespace fs = std::filesystem;

// A reading by a peer: key -> value text.
using PeerReading = std::map<std::string, std::string>;

// exiv2 -pv, keyed by group, name and tag: "Image:Artist:315" -> "Ascii 76 text".
PeerReading ReadWithExiv2(const fs::path& file) {
  PeerReading reading;
  for (const testsupport::Exiv2Row& row : testsupport::Exiv2Rows(file))
    reading[row.group + ":" + row.name + ":" + std::to_string(row.tag)] =
        row.type + " " + std::to_string(row.count) + " " + row.value;
  return reading;
}

std::string GroupOf(const std::string& key) { return key.substr(0, key.find(':')); }

// Keys that say where something now lies in the file, or describe the file itself, rather
// than what a tag holds: they change with any rebuild.
bool IsPlacement(const std::string& key) {
  static const std::set<std::string> kNames{
      "ThumbnailOffset", "MPImageStart", "PreviewImageStart", "OffsetSchema", "ExifByteOrder", "Warning",
      "ExifTag",         "GPSTag",       "InteroperabilityTag", "JPEGInterchangeFormat", "Offset", "ByteOrder",
      "PreviewOffset",  // exiv2's name of the Pentax preview's place
      // A thumbnail that ran past its segment is written with the length the segment held; the
      // safety net compares the length of every other thumbnail.
      "ThumbnailLength", "JPEGInterchangeFormatLength", "ThumbnailImage"};
  if (key == "SourceFile" || GroupOf(key) == "System") return true;
  const size_t first = key.find(':');
  const size_t second = key.find(':', first + 1);
  const std::string name = key.substr(first + 1, second == std::string::npos ? std::string::npos : second - first - 1);
  // The raw bytes of tag 37500: a rebuilt note differs, a kept one is compared byte for byte below.
  if (key.rfind("Photo:MakerNote:", 0) == 0) return true;
  // Where a rebuilt Nikon note now keeps its preview directory.
  if (key.rfind("Nikon3:Preview:", 0) == 0 || key.rfind("Nikon3:ScanIFD:", 0) == 0) return true;
  // Where a rebuilt Olympus note now keeps its sub-directories.
  static const std::set<std::string> kOlympusLinks{"Equipment", "CameraSettings", "RawDevelopment",
                                                   "RawDevelopment2", "ImageProcessing", "FocusInfo"};
  if (key.rfind("Olympus2:", 0) == 0 && kOlympusLinks.count(name) != 0) return true;
  return kNames.count(name) != 0;
}

// The Exif groups both peers read from the document's own tables; anything else a peer shows
// comes from the MakerNote (or is derived from it, the Composite group).
bool IsDocumentGroup(const std::string& group) {
  static const std::set<std::string> kGroups{"IFD0", "IFD1", "ExifIFD", "GPS", "InteropIFD", "Image", "Photo",
                                             "Thumbnail", "Iop", "GPSInfo", "JFIF", "MPF0", "ICC_Profile",
                                             "File", "ExifTool"};
  return kGroups.count(group) != 0;
}

// A note whose pointers already missed its own values before any save (ExifTool: "Possibly
// incorrect maker notes offsets (fix by -76?)"): the peers read the bytes around the note, which
// a rebuild lays out anew. The note's own bytes and place are kept, as checked below.
// The Canon note of exifpy_11-tests.jpg names a base 54 bytes off its place, and that of
// mei_Canon_EOS_REBEL_T3i.jpg is little-endian in a big-endian Exif: exiv2 misreads each original
// and reads the note right once it is rebuilt, or saved into the note's own order.
const std::set<std::string> kPointersAlreadyWrong{"exifpy_Konica_Minolta_DiMAGE_Z3.jpg", "exifpy_11-tests.jpg",
                                                  "mei_Canon_EOS_REBEL_T3i.jpg"};

// A note carried as bytes that moved: its pointers still say the old place and tag 59933 says
// how far it went; a peer that ignores that tag reads the note's own values wrongly.
struct NoteMove {
  bool recorded = false;
  // A note carried as bytes keeps its own byte order (the user was asked with message 1); a
  // peer that reads such a note in the Exif's order misreads it after a change of order: exiv2
  // for most formats, exiftool for the older Olympus and the scanner's bare Nikon directory.
  bool keptOldOrder = false;
};

void ExpectSameReading(const PeerReading& before, const PeerReading& after, const std::string& file,
                       const std::string& peer, const std::string& editedKey, const NoteMove& move) {
  std::set<std::string> keys;
  for (const auto& [key, value] : before) keys.insert(key);
  for (const auto& [key, value] : after) keys.insert(key);
  for (const std::string& key : keys) {
    if (IsPlacement(key) || key.find(editedKey) != std::string::npos) continue;
    if (!IsDocumentGroup(GroupOf(key)) && (move.recorded || kPointersAlreadyWrong.count(file) != 0))
      continue;
    if (!IsDocumentGroup(GroupOf(key)) && move.keptOldOrder) continue;
    const auto was = before.find(key);
    const auto now = after.find(key);
    const std::string wasText = was == before.end() ? "(absent)" : was->second;
    const std::string nowText = now == after.end() ? "(absent)" : now->second;
    EXPECT_EQ(wasText, nowText) << file << " read by " << peer << ": " << key;
  }
}

// The answers of a save: keep the note where it is (no to 103; a note that cannot stay is not
// moved, cancel to 1, unless message 1 asks about the note's byte order), or let it be rebuilt
// (yes to 103) and moved with its move recorded (ok to 1).
enum class Answer { Keep, KeepOtherOrder, Rebuild };

// Every JPEG of the corpus: the eight makers, the other makers' notes, the codec images.
std::vector<fs::path> MakerFiles() {
  std::vector<fs::path> files;
  for (const char* folder : {"makers/nikon", "makers/canon", "makers/pentax", "makers/sony", "makers/fujifilm",
                             "makers/panasonic", "makers/casio", "makers/olympus", "makers/other", "jpeg"})
    for (const fs::path& file : testsupport::FilesUnder(testsupport::SharedSub("corpus") / folder)) {
      const std::string extension = file.extension().string();
      if (extension == ".jpg" || extension == ".JPG" || extension == ".THM") files.push_back(file);
    }
  return files;
}

enum class PeerEdit { LongArtist, OtherByteOrder };

// How a save ended: written and read the same by Tavexon and the peers, or refused with the
// source byte for byte as it was.
struct Outcome {
  int written = 0;
  int refused = 0;
};

// Saves `source` with the edit into `written` and checks the outcome. A refusal must leave no
// file behind and the source as it was; a written file must read as before, apart from the edit.
void SaveOne(const fs::path& source, const fs::path& written, PeerEdit edit, Answer answer, Outcome* outcome) {
  const std::string name = source.filename().string();
  ExifDocumentPtr document = makerlisting::ReadDocument(source);
  ASSERT_TRUE(document) << name;
  const std::vector<unsigned char> original = testsupport::ReadBytes(source);
  SaveLayout layout;
  layout.bigEndian = document->bigEndian;
  const char artist[] = "A much longer artist name than before, long enough to move every value behind it";
  if (edit == PeerEdit::LongArtist) {
    ASSERT_TRUE(ExifQueueEdit(document.get(), PendingSet, IfdPrimary, 315, TypeAscii, sizeof artist, artist));
  } else {
    layout.bigEndian ^= 1u;
    ASSERT_TRUE(ExifQueueEdit(document.get(), PendingSet, IfdPrimary, 315, TypeAscii, 2, "B"));
  }
  // A note its handler cannot write whole is carried as bytes, like one without a handler.
  const MakerNoteContext* note = ExifMakerNoteContext(document.get());
  const bool hadHandler = ExifHasMakerNote(document.get()) != 0 && note != nullptr &&
                          !note->KeepAsBytes();
  const uint32_t hadFamily = ExifMakerNoteFamily(document.get());
  testsupport::PromptScript script;
  script.answers = {{MsgMakerNoteRebuild, answer == Answer::Rebuild ? PromptAnswerYes : PromptAnswerNo},
                    {MsgMakerNoteUnsafe, answer == Answer::Keep ? PromptAnswerCancel : PromptAnswerOk}};
  const int result =
      ExifSaveFileWithLayout(source.string(), written.string(), document.get(), &script.prompt, SaveMode::PendingEdits, layout);
  if (result != SaveWritten) {
    ++outcome->refused;
    EXPECT_FALSE(fs::exists(written)) << name;
    EXPECT_EQ(testsupport::ReadBytes(source), original) << name;
    std::cout << "[ refused  ] " << name << ": " << ExifSaveRefusal() << "\n";
    return;
  }
  ++outcome->written;
  // A note no handler reads is carried byte for byte; when it moved, the move is recorded.
  const makerlisting::NoteBytes before = makerlisting::ReadNote(source), after = makerlisting::ReadNote(written);
  NoteMove move;
  if (!hadHandler) {
    EXPECT_EQ(before.bytes, after.bytes) << name;
    if (before.place != after.place) {
      EXPECT_NE(answer, Answer::Keep) << name << ": a kept note moved";
      EXPECT_EQ(int64_t(after.schema) - before.schema, int64_t(after.place) - int64_t(before.place)) << name;
      move.recorded = true;
    }
    move.keptOldOrder = edit == PeerEdit::OtherByteOrder && !before.bytes.empty();
  }
  ExpectSameReading(testsupport::ExifToolArgs(source), testsupport::ExifToolArgs(written), name, "exiftool", "Artist", move);
  // An Olympus note keeps its own byte order, which its header states; exiv2 reads it in the
  // Exif's order, so a change of that order changes what exiv2 makes of the note.
  if (edit == PeerEdit::OtherByteOrder && hadFamily == FamilyOlympus) move.keptOldOrder = true;
  ExpectSameReading(ReadWithExiv2(source), ReadWithExiv2(written), name, "exiv2", "Artist", move);
}

Outcome SaveCorpus(PeerEdit edit, Answer answer) {
  Outcome outcome;
  testsupport::ScratchDir scratch;
  for (const fs::path& source : MakerFiles()) {
    ExifDocumentPtr document = makerlisting::ReadDocument(source);
    if (!document) {
      // Only a file whose first APP1 is not Exif is not read; it has nothing to save.
      ExifDocumentPtr none;
      EXPECT_EQ(ExifCheckFile(source.string(), none), uint32_t(StatusNoExif)) << source;
      continue;
    }
    SaveOne(source, scratch / source.filename(), edit, answer, &outcome);
  }
  std::cout << "[ counts   ] written " << outcome.written << ", refused " << outcome.refused << "\n";
  return outcome;
}

// Small files of the kinds that once lost values: built here, each saved with a long Artist.
constexpr bool kLittle = false;

// The file's payload with `outside` appended at its end; returns the offset of the appended
// bytes from the TIFF header.
uint32_t AppendOutside(std::vector<uint8_t>* payload, const std::vector<uint8_t>& outside) {
  if (payload->size() % 2) payload->push_back(0);
  const uint32_t at = uint32_t(payload->size() - 6);
  payload->insert(payload->end(), outside.begin(), outside.end());
  return at;
}

// The TIFF offset of a note (found by its first bytes) in a payload.
uint32_t NoteAt(const std::vector<uint8_t>& payload, const std::vector<uint8_t>& start) {
  auto found = std::search(payload.begin(), payload.end(), start.begin(), start.end());
  return uint32_t(found - payload.begin() - 6);
}

// A directory entry in little-endian order.
std::vector<uint8_t> Entry(uint16_t tag, uint16_t type, uint32_t count, uint32_t word) {
  std::vector<uint8_t> entry = testsupport::U16s(kLittle, {tag, type}), words = testsupport::U32s(kLittle, {count, word});
  entry.insert(entry.end(), words.begin(), words.end());
  return entry;
}

// A note: a header, then a directory of `entries` with a zero next link.
std::vector<uint8_t> Note(const std::string& header, const std::vector<std::vector<uint8_t>>& entries) {
  std::vector<uint8_t> note(header.begin(), header.end());
  const std::vector<uint8_t> count = testsupport::U16s(kLittle, {uint16_t(entries.size())});
  note.insert(note.end(), count.begin(), count.end());
  for (const auto& entry : entries) note.insert(note.end(), entry.begin(), entry.end());
  note.insert(note.end(), 4, 0);
  return note;
}

enum class Kind { ThumbnailOverrun, OlympusOutside, CanonOutside, UnknownSubDirectory, OutsideTooLarge };

// The JPEG of one kind. `note` is placed in the Exif IFD; its value words that point outside
// are patched once the payload's layout is known.
std::vector<uint8_t> BuildCase(Kind kind) {
  testsupport::TiffLayout layout;
  layout.primary = {{271, TypeAscii, 5, testsupport::Text("ACME")}, {315, TypeAscii, 3, testsupport::Text("Me")}};
  layout.exif = {{36867, TypeAscii, 20, testsupport::Text("2024:01:02 03:04:05")}};
  std::vector<uint8_t> note;
  const std::vector<uint8_t> outside = testsupport::U16s(kLittle, {11, 22, 33, 44, 55, 66});
  // Each note's entry that points outside it, at this offset within the note.
  size_t patchAt = 0;
  bool fromNote = false;
  switch (kind) {
    case Kind::ThumbnailOverrun:
      layout.thumbnailBytes.assign(64, 0x5A);
      layout.thumbnailBytes[0] = 0xFF, layout.thumbnailBytes[1] = 0xD8;
      break;
    case Kind::OlympusOutside:  // offsets from the note's first byte, a value beyond its count
      note = Note(std::string("OLYMPUS\0II\3\0", 12), {Entry(0x0200, TypeShort, 6, 0), Entry(0x0207, TypeAscii, 4, 0x434241)});
      patchAt = 12 + 2 + 8, fromNote = true;
      break;
    case Kind::CanonOutside:  // a bare directory, offsets from the TIFF header
    case Kind::OutsideTooLarge:
      note = Note("", {Entry(0x0001, TypeShort, 6, 0), Entry(0x0002, TypeShort, 2, 0x00070008)});
      patchAt = 2 + 8;
      break;
    case Kind::UnknownSubDirectory:  // an unknown header, a sub-directory outside the note
      note = Note(std::string("ACME\0\0\0\0", 8), {Entry(0x0e10, TypeLong, 1, 0), Entry(0x0002, TypeShort, 1, 9)});
      patchAt = 8 + 2 + 8;
      break;
  }
  if (kind == Kind::OutsideTooLarge)  // a value so large that nothing fits around the kept note
    layout.exif.push_back({37510, TypeUndefined, 64000, std::vector<uint8_t>(64000, 0x20)});
  if (!note.empty()) layout.exif.push_back({TagMakerNote, TypeUndefined, uint32_t(note.size()), note});
  std::vector<uint8_t> payload = testsupport::BuildExifPayload(layout);
  if (kind == Kind::ThumbnailOverrun) payload.resize(payload.size() - 8);  // 8 bytes past the segment
  if (!note.empty()) {
    const uint32_t noteAt = NoteAt(payload, note);
    std::vector<uint8_t> tail = outside;
    if (kind == Kind::UnknownSubDirectory) tail = Note("", {Entry(0x0041, TypeShort, 1, 8), Entry(0x0050, TypeShort, 6, 0)});
    const uint32_t at = AppendOutside(&payload, tail);
    ExifWriteU32(kLittle, payload.data() + 6 + noteAt + patchAt, fromNote ? at - noteAt : at);
    if (kind == Kind::UnknownSubDirectory) {  // the sub-directory's own value lies behind it
      const uint32_t value = AppendOutside(&payload, outside);
      ExifWriteU32(kLittle, payload.data() + 6 + at + 2 + 12 + 8, value);
    }
  }
  return testsupport::BuildJpeg({{0xE1, payload}});
}

}  // namespace

TEST(SavePeers, LongArtistKeepsEveryOtherTag) {
  TAVEXON_REQUIRE_SHARED("corpus/makers");
  if (!testsupport::HaveProgram("exiftool") || !testsupport::HaveProgram("exiv2"))
    GTEST_SKIP() << "exiftool and exiv2 are needed as independent readers";
  for (Answer answer : {Answer::Keep, Answer::Rebuild}) {
    const Outcome outcome = SaveCorpus(PeerEdit::LongArtist, answer);
    EXPECT_GT(outcome.written, 3 * outcome.refused);
  }
}

TEST(SavePeers, OtherByteOrderKeepsEveryOtherTag) {
  TAVEXON_REQUIRE_SHARED("corpus/makers");
  if (!testsupport::HaveProgram("exiftool") || !testsupport::HaveProgram("exiv2"))
    GTEST_SKIP() << "exiftool and exiv2 are needed as independent readers";
  // Most notes carried as bytes cannot be read in the other order and refuse; the files without
  // one, or with a note their handler rebuilds, must save (a refusal is safe, but no answer).
  EXPECT_GE(SaveCorpus(PeerEdit::OtherByteOrder, Answer::KeepOtherOrder).written, 20);
}

// A thumbnail running past APP1, values outside a note of two families, an unknown note with a
// sub-directory outside it: each saves, keeps what it held, and reads the same to all readers.
TEST(SavePeers, BuiltFilesWithBytesOutsideTheirPlaceSave) {
  if (!testsupport::HaveProgram("exiftool") || !testsupport::HaveProgram("exiv2"))
    GTEST_SKIP() << "exiftool and exiv2 are needed as independent readers";
  testsupport::ScratchDir scratch;
  for (Kind kind : {Kind::ThumbnailOverrun, Kind::OlympusOutside, Kind::CanonOutside, Kind::UnknownSubDirectory}) {
    const fs::path source = scratch / ("case" + std::to_string(int(kind)) + ".jpg");
    testsupport::WriteBytes(source, BuildCase(kind));
    Outcome outcome;
    for (Answer answer : {Answer::Keep, Answer::Rebuild}) {
      const fs::path written = scratch / ("saved" + std::to_string(int(kind)) + std::to_string(int(answer)) + ".jpg");
      SaveOne(source, written, PeerEdit::LongArtist, answer, &outcome);
      ExifDocumentPtr before = makerlisting::ReadDocument(source);
      ExifDocumentPtr after = makerlisting::ReadDocument(written);
      ASSERT_TRUE(after) << int(kind);
      if (kind == Kind::ThumbnailOverrun) {  // the bytes the segment held, with their length
        EXPECT_EQ(ExifThumbnailSize(after.get()), 56u);
        EXPECT_EQ(ExifFindTag(after.get(), IfdThumbnail, TagThumbnailLength)->U32(0), 56u);
      } else {
        EXPECT_EQ(ExifFindTag(after.get(), IfdExif, TagMakerNote)->sourceWord,
                  ExifFindTag(before.get(), IfdExif, TagMakerNote)->sourceWord);
      }
    }
    EXPECT_EQ(outcome.written, 2) << int(kind);
  }
}

// What cannot be kept is refused, the file byte for byte as it was: a note whose extent leaves no
// room, the same note read in the other byte order, a GPS entry of type 0, a Nikon note cut short.
TEST(SavePeers, BuiltFilesThatCannotBeKeptAreRefused) {
  testsupport::ScratchDir scratch;
  const fs::path large = scratch / "large.jpg";
  testsupport::WriteBytes(large, BuildCase(Kind::OutsideTooLarge));
  Outcome outcome;
  SaveOne(large, scratch / "large-saved.jpg", PeerEdit::LongArtist, Answer::Keep, &outcome);
  const fs::path canon = scratch / "canon.jpg";
  testsupport::WriteBytes(canon, BuildCase(Kind::CanonOutside));
  SaveOne(canon, scratch / "canon-saved.jpg", PeerEdit::OtherByteOrder, Answer::KeepOtherOrder, &outcome);
  EXPECT_EQ(outcome.refused, 2);
  EXPECT_NE(ExifSaveRefusal().find("0x927C (37500) would be read in the other byte order"), std::string::npos)
      << ExifSaveRefusal();

  testsupport::TiffLayout gps;
  gps.primary = {{271, TypeAscii, 5, testsupport::Text("ACME")}};
  gps.gps = {{1, 0, 2, testsupport::Text("N")}};
  testsupport::TiffLayout nikon;
  nikon.primary = gps.primary;
  std::vector<uint8_t> cut = {'N', 'i', 'k', 'o', 'n', 0, 2, 0, 0, 0, 'I', 'I', 42, 0, 8, 0, 0, 0, 40, 0};
  nikon.exif = {{TagMakerNote, TypeUndefined, uint32_t(cut.size()), cut}};
  for (const testsupport::TiffLayout& layout : {gps, nikon}) {
    const fs::path file = scratch / "unreadable.jpg";
    testsupport::WriteBytes(file, testsupport::BuildJpeg({{0xE1, testsupport::BuildExifPayload(layout)}}));
    const std::vector<unsigned char> original = testsupport::ReadBytes(file);
    ExifDocumentPtr document = makerlisting::ReadDocument(file);
    if (document) {
      const char artist[] = "Someone else entirely";
      ASSERT_TRUE(ExifQueueEdit(document.get(), PendingSet, IfdPrimary, 315, TypeAscii, sizeof artist, artist));
      EXPECT_EQ(ExifSaveFile(file.string(), file.string(), document.get(), nullptr, SaveMode::PendingEdits), SaveFailed);
    }
    EXPECT_EQ(testsupport::ReadBytes(file), original);
  }
}
