// The per-file step of embedding: one frame's tags queued on the file's document and saved.
#include "shooting/embed.h"

#include <algorithm>
#include <atomic>
#include <cstring>

#include "exif/exif_reader.h"
#include "exif/makernote_handler.h"
#include "exif/tags.h"
#include "frame/cp932.h"
#include "frame/error_stack.h"
#include "makernote/makernote_save.h"
#include "makernote/nikon_tags.h"
#include "shooting/library_tags.h"
#include "shooting/shooting_fields.h"
#include "shooting/shooting_to_exif.h"
#include "shooting/shooting_to_makernote.h"

namespace {

// The version a newly made Nikon note declares in its tag 1.
constexpr char kNikonNoteVersion[4] = {'0', '2', '1', '0'};

// An ASCII tag of the 0th IFD from a job text; nothing for an empty text.
int QueueHeaderText(ExifDocument* document, uint16_t tag, const std::string& text) {
  if (text.empty()) return 1;
  return ExifQueueEdit(document, PendingSet, IfdPrimary, tag, TypeAscii, uint32_t(text.size() + 1), text.c_str());
}

// The private tags of the frame and its header; the Interoperability IFD goes, as a reader
// that knows the private tags finds them where it would look for it.
int QueuePrivateTags(ExifDocument* document, const CameraDataFile* dataFile, uint32_t frame) {
  TagList record;
  if (!CameraDataFileCopyRecord(dataFile, frame, &record)) return 0;
  if (!ShootingQueueList(document, IfdExif, record)) return 0;
  std::vector<uint16_t> interop;
  if (ExifBeginTagWalk(document, IfdInterop) > 0) {
    while (const TagEntry* entry = ExifNextTag(document)) interop.push_back(entry->tag);
  }
  ExifEndTagWalk(document);
  for (uint16_t tag : interop)
    if (!ExifQueueEdit(document, PendingDelete, IfdInterop, tag, 0, 0, nullptr)) return 0;
  return 1;
}

// A tag set in the main table of the open note at once.
int PutInNote(ExifDocument* document, uint16_t tag, uint16_t type, uint32_t count, const void* value) {
  MakerNoteContext* context = ExifMakerNoteContext(document);
  if (!context) {
    ErrorPush(ErrMakerNoteUnknown);
    return 0;
  }
  return context->PutTag(NikonMainTable, tag, type, count, value);
}

// The Nikon note of the frame. A note of any other maker, or a Nikon note that cannot be read,
// is replaced by a new Nikon note: the embed notices warn the user of exactly that.
int QueueMakerNote(ExifDocument* document, const CameraDataFile* dataFile, uint32_t frame) {
  TagList entries;
  if (!ShootingRecordToMakerNote(dataFile, frame, &entries)) return 0;
  if (entries.empty()) {
    ExifOpenMakerNote(document);
    ErrorClear();  // a file without a readable note is no failure here
    return 1;
  }
  if (!ExifOpenMakerNote(document) || ExifMakerNoteFamily(document) != FamilyNikon) {
    ErrorClear();
    if (ExifFindTag(document, IfdExif, TagMakerNote) &&
        !ExifQueueEdit(document, PendingDelete, IfdExif, TagMakerNote, 0, 0, nullptr))
      return 0;
    if (!ExifCreateMakerNote(document)) return 0;
    if (!ExifQueueEdit(document, PendingSet, kNikonMainKind, NikonTagVersion, TypeUndefined,
                       sizeof kNikonNoteVersion, kNikonNoteVersion))
      return 0;
    // The save builds the open note before it applies the queued edits, and a note without a
    // tag cannot be built: the new note takes its tags at once as well.
    if (!PutInNote(document, NikonTagVersion, TypeUndefined, sizeof kNikonNoteVersion, kNikonNoteVersion))
      return 0;
    for (const TagEntry& entry : entries)
      if (!PutInNote(document, entry.tag, entry.type, entry.count, entry.Data())) return 0;
  }
  return ShootingQueueList(document, kNikonMainKind, entries);
}

// The mapping's options from the flags; with neither time bit "TIMEPADDING" decides.
ShootingExifOptions ExifOptionsOf(EmbedFlags flags) {
  ShootingExifOptions options = ShootingExifOptionsLoad();
  if (flags & EmbedTimeZeros)
    options.timePadding = 1;
  else if (flags & EmbedTimeBlanks)
    options.timePadding = 0;
  options.flashOmit = (flags & EmbedFlashOmit) != 0;
  return options;
}

// The film name of the header also as ImageDescription or UserComment. A text the file holds
// already is the user's and stays: the film goes there only when the tag is absent, blank or
// already the film.
int QueueFilm(ExifDocument* document, const CameraDataFile* dataFile, EmbedFlags flags, EmbedResult* result) {
  const bool description = (flags & EmbedFilmDescription) != 0;
  if (!description && !(flags & EmbedFilmComment)) return 1;
  const TagEntry* film = ShootingFieldText(dataFile->header, TagFilmName);
  if (!film) return 1;
  const std::string text = reinterpret_cast<const char*>(film->Data());
  const uint32_t kind = description ? IfdPrimary : IfdExif;
  const uint16_t tag = description ? TagImageDescription : TagUserComment;
  const std::string existing = LibraryExistingText(ExifFindTag(document, kind, tag));
  if (!existing.empty() && existing != text) {
    if (result) ++result->filmKept;
    return 1;
  }
  if (description) return QueueHeaderText(document, tag, text);
  const std::vector<uint8_t> value = LibraryUserComment(text);
  return ExifQueueEdit(document, PendingSet, kind, tag, TypeUndefined, uint32_t(value.size()), value.data());
}

// The lens tags belong to Exif 2.3: a file that says it is older is raised to "0230", as the
// option's help says, so that a reader does not take the new tags for misplaced ones.
int QueueExifVersionForLens(ExifDocument* document) {
  static constexpr char kLensVersion[4] = {'0', '2', '3', '0'};
  const TagEntry* version = ExifFindTag(document, IfdExif, TagExifVersion);
  if (version && version->ValueSize() >= 4 && std::memcmp(version->Data(), kLensVersion, 4) >= 0) return 1;
  return ExifQueueEdit(document, PendingSet, IfdExif, TagExifVersion, TypeUndefined, 4, kLensVersion);
}

// Everything of one frame queued on a read document.
int QueueFrame(const EmbedJob& job, ExifDocument* document, CameraDataFile* dataFile, EmbedFlags flags,
               EmbedResult* result) {
  const uint32_t frame = job.frame;
  if (EmbedHeaderTags(job, document, dataFile) != 1) return 0;
  TagList exifTags;
  if (!ShootingRecordToExif(dataFile, frame, ExifOptionsOf(flags), &exifTags)) return 0;
  if (ShootingBlankSeconds(exifTags) && result) ++result->blankSeconds;
  if (flags & EmbedLensTags) {
    if (!LibraryLensTags(dataFile, frame, job.maker, &exifTags)) return 0;
    const bool lens = std::any_of(exifTags.begin(), exifTags.end(),
                                  [](const TagEntry& entry) { return entry.tag == TagLensSpecification; });
    if (lens && !QueueExifVersionForLens(document)) return 0;
  }
  if (!ShootingQueueList(document, IfdExif, exifTags)) return 0;
  if (!QueueFilm(document, dataFile, flags, result)) return 0;
  if ((flags & EmbedPrivateTags) && !QueuePrivateTags(document, dataFile, frame)) return 0;
  if ((flags & EmbedMakerNote) && !QueueMakerNote(document, dataFile, frame)) return 0;
  if (!(flags & EmbedKeepSoftware) &&
      !ExifQueueEdit(document, PendingSet, IfdPrimary, TagSoftware, TypeAscii, sizeof kEmbedSoftware,
                     kEmbedSoftware))
    return 0;
  return 1;
}

}  // namespace

std::string EmbedText(const std::string& text) {
  size_t end = 0;
  while (end < text.size()) {
    const size_t step = Cp932IsLeadByte(uint8_t(text[end])) ? 2 : 1;
    if (end + step > kEmbedTextMax) break;
    end += step;
  }
  return text.substr(0, std::min(end, text.size()));
}

namespace {

std::atomic<EmbedThumbnailMaker> gThumbnailMaker{nullptr};

// The new document of a JPEG without Exif: the tags a scan needs, and a thumbnail made from its
// image (kept in `thumbnail`, which the document points into).
int NewDocumentFor(const std::string& path, ExifDocumentPtr& document, std::vector<uint8_t>& thumbnail) {
  const EmbedThumbnailMaker maker = gThumbnailMaker.load();
  uint32_t width = 0, height = 0;
  if (!maker || !maker(path, &thumbnail, &width, &height) || thumbnail.empty()) {
    ErrorPush(ErrNoExif);
    return 0;
  }
  if (!ExifCreateEmpty(document)) return 0;
  const uint32_t resolution[2] = {72, 1};
  const uint16_t inches = 2;
  const uint8_t components[4] = {1, 2, 3, 0};
  int ok = ExifPutTag(document.get(), IfdPrimary, TagXResolution, TypeRational, 1, resolution) &&
           ExifPutTag(document.get(), IfdPrimary, TagYResolution, TypeRational, 1, resolution) &&
           ExifPutTag(document.get(), IfdPrimary, TagResolutionUnit, TypeShort, 1, &inches) &&
           ExifPutTag(document.get(), IfdPrimary, TagSoftware, TypeAscii, sizeof kEmbedSoftware, kEmbedSoftware) &&
           ExifPutTag(document.get(), IfdExif, TagExifVersion, TypeUndefined, 4, "0210") &&
           ExifPutTag(document.get(), IfdExif, TagComponentsConfiguration, TypeUndefined, 4, components) &&
           ExifPutTag(document.get(), IfdExif, TagPixelXDimension, TypeLong, 1, &width) &&
           ExifPutTag(document.get(), IfdExif, TagPixelYDimension, TypeLong, 1, &height);
  ok = ok && ExifSetThumbnail(document.get(), thumbnail.data(), uint32_t(thumbnail.size()), 0);
  return ok ? 1 : 0;
}

}  // namespace

int EmbedHeaderTags(const EmbedJob& job, ExifDocument* document, CameraDataFile* dataFile) {
  if (!QueueHeaderText(document, TagMake, job.maker)) return 0;
  if (!QueueHeaderText(document, TagModel, job.camera)) return 0;
  if (job.film.empty()) return 1;
  return CameraDataFileAddHeader(dataFile, TagFilmName, TypeAscii, uint32_t(job.film.size() + 1), job.film.c_str());
}

void EmbedInstallThumbnailMaker(EmbedThumbnailMaker maker) { gThumbnailMaker.store(maker); }

int EmbedOne(const EmbedJob& job, const std::string& sourcePath, const std::string& destinationPath,
             CameraDataFile* dataFile, EmbedFlags flags, const Prompt* prompt, EmbedResult* result) {
  if (!dataFile) {
    ErrorPush(ErrInvalidArgument);
    return 0;
  }
  ExifDocumentPtr document;
  std::vector<uint8_t> thumbnail;  // a new document's thumbnail, alive until the save is done
  const uint32_t status = ExifCheckFile(sourcePath, document);
  if (status & StatusNoExif) {
    if (!NewDocumentFor(sourcePath, document, thumbnail)) return 0;
  } else if (!document || !(status & StatusJpeg)) {
    return 0;
  }
  if (!QueueFrame(job, document.get(), dataFile, flags, result)) return 0;
  const int saved = ExifSaveFile(sourcePath, destinationPath, document.get(), prompt, SaveMode::PendingEdits);
  ExifCloseMakerNote(document.get());
  return saved == SaveWritten ? 1 : 0;
}

int EmbedSingle(const std::string& maker, const std::string& camera, const std::string& film,
                CameraDataFile* dataFile, uint32_t frame, const std::string& sourcePath,
                const std::string& destinationPath, EmbedFlags flags, const Prompt* prompt) {
  EmbedJob job;
  job.maker = EmbedText(maker);
  job.camera = EmbedText(camera);
  job.film = EmbedText(film);
  job.frame = frame;
  return EmbedOne(job, sourcePath, destinationPath, dataFile, flags, prompt);
}
