// The message table: every text the user sees, by number, in CP932.
#pragma once

#include <cstdint>

// The numbers of the messages the code names, as the table holds them. An unscoped enum over
// uint32_t, so a MessageId goes wherever a message number does (prompts, the error output).
enum MessageId : uint32_t {
  MsgMakerNoteUnsafe = 1,  // the note may not survive the save; continue?
  MsgMakerNoteNotice = 2,  // the notice before the first edit
  MsgSaveChanges = 3,      // "%s" was changed; save?
  MsgDeleteTag = 4,        // delete "%s"?
  MsgExifError = 5,
  MsgInputError = 7,
  MsgUpdateFailed = 9,
  MsgBadIfd = 10,
  MsgBadTag = 11,
  MsgBadType = 12,
  MsgNoMemory = 13,
  MsgTagNotEditable = 14,
  MsgTagExists = 15,   // overwrite?
  MsgCreateExif = 16,  // no Exif; create it?
  MsgHintLines = 20,   // the input hints of the edit dialog, 20 to 28
  MsgHintBytes = 21,
  MsgHintAscii = 22,
  MsgHintShort = 23,
  MsgHintLong = 24,
  MsgHintRational = 25,
  MsgHintSShort = 26,
  MsgHintSLong = 27,
  MsgHintSRational = 28,
  MsgNotFound = 29,
  MsgNoExifInfo = 30,
  MsgNoExif = 31,
  MsgUnsupported = 32,
  MsgNefThumbnail = 33,
  MsgExportFailed = 34,
  MsgBadInput = 35,
  MsgReadError = 36,
  MsgCopyFailed = 37,
  MsgMakerNoteParse = 38,
  MsgProcessError = 42,
  MsgEmbedOneNotice = 44,
  MsgOwnTagsNotice = 45,
  MsgFileUnreadable = 46,  // with the path
  MsgNoJpegFolder = 47,
  MsgEmbedNotice = 48,
  MsgDone = 51,
  MsgNoDataFile = 52,
  MsgFolderNotMade = 57,
  MsgOverwrite = 58,  // the file exists; overwrite?
  MsgCannotOverwrite = 59,
  MsgUnsupportedStop = 60,  // unsupported or damaged; stop the batch?
  MsgWriteFailed = 61,
  MsgNoInputFolder = 63,
  MsgFolderMissing = 64,
  MsgNoOutputFolder = 65,
  MsgFileMissing = 66,
  MsgSameFolders = 67,
  MsgBadValue = 68,
  MsgDatesStopped = 69,
  MsgUnsupportedFile = 71,
  MsgDataParse = 73,
  MsgNoJpegs = 74,
  MsgCountMismatch = 75,  // frames and files differ
  MsgNothingSelected = 78,
  MsgNameTooLong = 80,
  MsgRenameFailed = 82,
  MsgRenameDuplicate = 83,
  MsgSearchError = 84,
  MsgParseError = 85,
  MsgParseErrorIfd0 = 86,  // 86 to 90: the 0th, 1st, Exif, GPS and Interoperability IFDs
  MsgParseErrorIfd1 = 87,
  MsgParseErrorExifIfd = 88,
  MsgParseErrorGpsIfd = 89,
  MsgParseErrorInteropIfd = 90,
  MsgConfirmDate = 91,
  MsgGoOn = 92,  // a file failed; go on with the next?
  MsgCsvFileError = 93,
  MsgChooseDateOption = 96,
  MsgRenameCollision = 97,
  MsgAnalysing = 98,
  MsgNoteNotEditable = 102,
  MsgMakerNoteRebuild = 103,  // rebuild the note? yes, no, cancel
  MsgCsvBadCell = 104,
  MsgCsvCellCount = 105,
  MsgCsvRowFailed = 106,
  MsgCsvRowFileMissing = 107,
  MsgBadStartRow = 108,
  MsgCsvParseFailed = 109,
  MsgThumbnailMissing = 110,
  MsgNoInputFile = 111,
  MsgNoJpegDestination = 112,
  MsgSegmentDeleteFailed = 116,
  MsgReadOnly = 117,
  MsgNotUpdated = 121,
  MsgLicence = 132,
  MsgTitleProduct = 1000,  // the titles of message boxes
  MsgTitleError = 1001,
  MsgTitleWarning = 1002,
  MsgTitleInput = 1003,
};

// The text of a message, or nullptr for a number not in the table.
const char* MessageText(uint32_t id);

// The message used as a printf format with the arguments, into one static buffer that stays
// valid until the next call (a main-thread operation). An unknown number gives "".
const char* MessageFormat(uint32_t id, ...);
