// Embedding a roll of film into its scans: the frames of a camera data file paired one to one,
// in order, with a list of JPEG files, each frame's shooting data written into its file as Exif
// tags, private tags and Nikon MakerNote entries.
//
// Two doors lead here, the embed window for a whole film and the one-frame dialog; both end in
// EmbedOne. Every file is saved by itself through ExifSaveFile (a temporary file in the same
// folder, then a rename), so a run that stops leaves the earlier files done and the later ones
// untouched, and no file half-written.
//
// Engine results: 1 or 0 with a code on the error stack. The messages a run shows (73, 74, 75,
// 51, 5, ...) go to the caller's prompt as questions with only an Ok button.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "exif/exif_document.h"
#include "frame/file_list.h"
#include "frame/version.h"
#include "frame/progress.h"
#include "frame/prompt.h"
#include "shooting/camera_data_file.h"

// The option bits of a run.
enum EmbedFlag : uint32_t {
  EmbedKeepSoftware = 1,  // leave Exif tag 305 (Software) alone
  EmbedMakerNote = 2,     // write the Nikon MakerNote tags; both doors always set it
  EmbedPrivateTags = 4,   // write the private tags of the frame and the header
  // For photo libraries; none is set by default, so a run writes what it always wrote.
  EmbedTimeZeros = 8,          // an unknown part of the capture time reads as zeros
  EmbedTimeBlanks = 16,        // ... as blanks; with neither bit "TIMEPADDING" decides
  EmbedFlashOmit = 32,         // Flash (37385) only where the data says the flash fired
  EmbedLensTags = 64,          // LensSpecification, LensMake, LensModel (library_tags.h)
  EmbedFilmDescription = 128,  // the film name also into ImageDescription (270)
  EmbedFilmComment = 256,      // the film name also into UserComment (37510)
};
using EmbedFlags = uint32_t;

// The texts a job holds are cut to this many CP932 bytes.
constexpr uint32_t kEmbedTextMax = 63;
// A text cut to kEmbedTextMax bytes without splitting a two-byte character.
std::string EmbedText(const std::string& text);
// What tag 305 becomes unless EmbedKeepSoftware is set.
inline constexpr const auto& kEmbedSoftware = kTavexonVersionLine;

// What a run is asked to do: owned by the call that runs it, so that two runs (two windows, a
// worker thread) never share one. The texts are CP932.
struct EmbedJob {
  std::string maker;
  std::string camera;
  std::string film;
  CameraDataFilePtr dataFile;
  std::unique_ptr<FileList> jpegFiles;
  uint32_t frame = 0;  // the index of the file in hand
};

// What a run did.
struct EmbedResult {
  int ok = 1;                 // 1 when every file was written
  uint32_t written = 0;       // files completed
  uint32_t blankSeconds = 0;  // files whose capture time has blank seconds
  uint32_t filmKept = 0;      // files whose own description or comment kept the film out
  std::string failingPath;    // the file the run stopped at; empty when it stopped before any
  uint32_t code = 0;          // the code on top of the error stack when it stopped; 0 when none
};

// Where a run reports. `label` stands for the window's progress label: it is called before
// each file with the file's path, its 1-based position and the number of files (the desktop
// repaints there, the command line prints). `prompt` shows the run's messages and answers the
// save's questions; with none, nothing is shown and the answers are those that write nothing.
struct EmbedProgress {
  void (*label)(void* user, const std::string& path, uint32_t index, uint32_t count) = nullptr;
  void* user = nullptr;
  const Prompt* prompt = nullptr;
  // Asked before each file; false (Esc, a stop button) ends the run after the file in hand,
  // as a failure of the run: the earlier files stay written, the later ones untouched.
  const Progress* step = nullptr;
};

// Queues the job-wide tags: Make (271) with the job's maker, Model (272) with its camera, and
// puts its film into the data file's header as tag 62980 (written with the private tags only).
// Each only for a non-empty text.
int EmbedHeaderTags(const EmbedJob& job, ExifDocument* document, CameraDataFile* dataFile);

// Makes the Exif thumbnail of a JPEG from its main image and reports the image's pixel size;
// 1 on success. The decoder lives above this library, so the program installs one at start
// (CodecInstall); none is installed until then.
using EmbedThumbnailMaker = int (*)(const std::string& jpegPath, std::vector<uint8_t>* thumbnail, uint32_t* width,
                                    uint32_t* height);
void EmbedInstallThumbnailMaker(EmbedThumbnailMaker maker);

// Writes frame job.frame of dataFile into sourcePath, saved as destinationPath (the same path
// overwrites in place). A file without Exif gains a new document: resolution 72/1 inch, the
// Exif version and component layout, its pixel size, and a thumbnail made from its image; with
// no thumbnail maker installed, or when the thumbnail fails, it is refused (771). prompt answers
// the save's questions (read-only destination, MakerNote). The counts of `result` (may be
// nullptr) are raised for the file.
int EmbedOne(const EmbedJob& job, const std::string& sourcePath, const std::string& destinationPath,
             CameraDataFile* dataFile, EmbedFlags flags, const Prompt* prompt = nullptr,
             EmbedResult* result = nullptr);

// Walks the job's JPEG files, frame index from 0, each overwritten in place by EmbedOne; stops
// at the first failure. An empty list succeeds.
EmbedResult EmbedAll(EmbedJob& job, const EmbedProgress* progress, EmbedFlags flags);

// The whole run: reads the data file as dataType (message 73 when it does not parse), lists the
// files of jpegPattern (a file, or a pattern such as "folder/*.jpg"; message 74 when there are
// none), refuses a count mismatch (message 75, frames first) before any file is touched, then
// EmbedAll. The data file and list are released at the end.
EmbedResult EmbedBatch(const std::string& maker, const std::string& camera, const std::string& film,
               const std::string& dataFilePath, uint32_t dataType, const std::string& jpegPattern,
               const EmbedProgress* progress, EmbedFlags flags);

// One frame into one file, for the one-frame dialog: fills the job and calls EmbedOne.
int EmbedSingle(const std::string& maker, const std::string& camera, const std::string& film,
                CameraDataFile* dataFile, uint32_t frame, const std::string& sourcePath,
                const std::string& destinationPath, EmbedFlags flags, const Prompt* prompt = nullptr);

// The JPEG list of a path as the run button makes it: one trailing separator removed, and a
// folder turned into the pattern of its ".jpg" files.
std::string EmbedJpegPattern(const std::string& jpegPath);

// Lists the files of a JPEG pattern into list, sorted as a folder scan sorts. Returns the count.
int EmbedListJpegs(const std::string& jpegPattern, FileList& list);

// The embed window's inputs at the run button. Texts are CP932; dataType -1 means none chosen.
struct EmbedRequest {
  std::string maker;
  std::string camera;
  std::string film;
  std::string dataFilePath;
  std::string jpegPath;
  int dataType = 0;
  bool privateTags = false;
  bool keepSoftware = false;
  // For photo libraries, as the settings of "OPTION" hold them (EmbedWindowOptionsLoad).
  int timePadding = -1;  // "TIMEPADDING": 1 zeros, 0 blanks, -1 the setting as it stands
  bool flashOmit = false;
  bool lensTags = false;
  int filmIn = 0;        // EmbedFilmIn
};

// Where the film name goes besides the private tag.
enum EmbedFilmIn : int { EmbedFilmNone = 0, EmbedFilmInDescription = 1, EmbedFilmInComment = 2 };

// The run button: checks the inputs (message 52 no data file, 46 one that cannot be read, 47
// no JPEG path), runs EmbedBatch, shows message 51 under title 1000 on success or 5 under
// title 1001 otherwise, then stores the maker, camera and film histories and "DATATYPE".
// Its result's ok is 1 when every file was written.
EmbedResult EmbedRun(const EmbedRequest& request, const EmbedProgress* progress);

// The flags of a run from the window's two check boxes; the MakerNote bit is always set.
EmbedFlags EmbedFlagsOf(bool privateTags, bool keepSoftware);
// The flags of a whole request, the photo library options included.
EmbedFlags EmbedFlagsOf(const EmbedRequest& request);

// The embed window's options as the settings hold them when it opens.
struct EmbedWindowOptions {
  bool privateTagsShown = false;    // "TAGEXTEND" is 1: the private tag and film boxes exist
  bool privateTags = false;         // the private tag box is ticked
  bool filmEnabled = false;         // the film box takes input
  bool keepSoftware = false;        // the Software box is ticked
  bool softwareEnabled = true;      // the Software box takes input
  uint32_t dataType = 0;            // "DATATYPE" of "MV1OPTION"
  // The photo library options of "OPTION", each 0 by default: "TIMEPADDING" (1 zeros),
  // "FLASHOMIT" (1 omit), "LENSTAGS" (1 write) and "FILMIN" (an EmbedFilmIn).
  int timePadding = 0;
  bool flashOmit = false;
  bool lensTags = false;
  int filmIn = EmbedFilmNone;
};
EmbedWindowOptions EmbedWindowOptionsLoad();

// Whether the notice kept under key ("MSGOK1", "MSGOK2", "MSGOK4" of "FLAG") is still to be
// shown, and storing that it was confirmed for this version.
bool EmbedNoticeDue(const char* key);
int EmbedNoticeConfirm(const char* key);
