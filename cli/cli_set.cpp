// tavexon-cli set and delete: one tag changed or removed, saved by the least intrusive road,
// with the MakerNote questions answered from --makernote, the terminal, or not at all.
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <map>
#include <string>
#include <unistd.h>
#include <vector>

#include "cli/cli_output.h"
#include "cli/commands.h"
#include "exif/exif_document.h"
#include "exif/exif_reader.h"
#include "exif/file_replace.h"
#include "exif/makernote_handler.h"
#include "exif/tag_catalogue.h"
#include "exif/tag_parse.h"
#include "frame/cp932.h"
#include "frame/error_stack.h"
#include "frame/message_table.h"
#include "frame/prompt.h"
#include "makernote/makernote_save.h"
#include "makernote/makernote_verify.h"

namespace {

struct EditOptions {
  std::string file;
  std::string out;
  std::string ifd;
  std::string tag;
  std::string type;
  std::string value;
  std::string byteOrder;
  std::string makerNote;
  std::string hardLinks = "refuse";
  bool rebuild = false;
};

// The answers --makernote gives: rebuild is yes to message 103, keep is no. Message 1 offers
// only ok and cancel: rebuild carries on (the note's move recorded in tag 59933); keep means the
// note stays where it is, so a note that cannot stay is not moved and the save stops. Only with
// another byte order ("keep-reorder") does keep answer ok, to the question of the note's order.
PromptAnswer AnswerFromOption(const std::string& choice, const PromptQuestion& question) {
  if (question.buttons == PromptButtonsOk) return PromptAnswerOk;
  if (choice == "cancel") return PromptAnswerCancel;
  if (question.buttons == PromptButtonsOkCancel) return choice == "keep" ? PromptAnswerCancel : PromptAnswerOk;
  return choice == "rebuild" ? PromptAnswerYes : PromptAnswerNo;
}

// Asks on the terminal, until one of the offered answers is typed; end of input cancels.
PromptAnswer AnswerFromTerminal(const PromptQuestion& question) {
  if (question.buttons == PromptButtonsOk) return PromptAnswerOk;
  const bool yesNo = question.buttons == PromptButtonsYesNoCancel || question.buttons == PromptButtonsYesNo;
  for (;;) {
    std::fputs(yesNo ? "[y]es / [n]o / [c]ancel? " : "[o]k / [c]ancel? ", stderr);
    std::string line;
    if (!std::getline(std::cin, line)) return PromptSafeAnswer(question.buttons);
    const char first = line.empty() ? '\0' : char(line[0] | 0x20);
    if (yesNo && first == 'y') return PromptAnswerYes;
    if (yesNo && first == 'n') return PromptAnswerNo;
    if (!yesNo && first == 'o') return PromptAnswerOk;
    if (first == 'c') return PromptSafeAnswer(question.buttons);
  }
}

// Every question is printed; the answer comes from the option, an interactive terminal, or
// is the one that writes nothing.
PromptAnswer CliAsk(void* user, const PromptQuestion& question) {
  const std::string& choice = *static_cast<const std::string*>(user);
  std::fprintf(stderr, "%s\n", Utf8FromCp932(question.text).c_str());
  if (!choice.empty()) return AnswerFromOption(choice, question);
  if (isatty(STDIN_FILENO) && isatty(STDERR_FILENO)) return AnswerFromTerminal(question);
  return PromptSafeAnswer(question.buttons);
}

// A number written in decimal or with 0x in hexadecimal, whole; -1 otherwise.
int64_t ParseNumber(const std::string& text) {
  if (text.empty()) return -1;
  const bool hex = text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X');
  const std::string digits = hex ? text.substr(2) : text;
  if (digits.empty() || digits.size() > 10) return -1;
  char* end = nullptr;
  const long long value = std::strtoll(digits.c_str(), &end, hex ? 16 : 10);
  if (*end != '\0' || digits[0] == '-' || digits[0] == '+') return -1;
  return value;
}

// KIND: 1 to 5, a table name, or a MakerNote table number (256 and above).
int64_t ParseKind(const std::string& text) {
  static const std::map<std::string, uint32_t> kNames{
      {"0th", IfdPrimary}, {"1st", IfdThumbnail}, {"exif", IfdExif}, {"interop", IfdInterop}, {"gps", IfdGps}};
  const auto named = kNames.find(text);
  if (named != kNames.end()) return named->second;
  const int64_t kind = ParseNumber(text);
  if ((kind >= IfdPrimary && kind <= IfdGps) || (kind >= kIfdMakerNoteFirst && kind <= 0xFFFFFFFFll)) return kind;
  return -1;
}

// TYPE: a display name ("SHORT") or a number the document knows.
int64_t ParseType(const std::string& text) {
  for (uint32_t type = 1; type <= 10; ++type)
    if (ExifTypeSize(type) != 0 && text == ExifTypeName(type)) return type;
  const int64_t type = ParseNumber(text);
  return type > 0 && type <= 0xFFFF && ExifTypeSize(uint32_t(type)) != 0 ? type : -1;
}

int UsageFailure(const std::string& path, uint32_t messageId) {
  CliReportFailure(path, 0, messageId);
  return CliUsage;
}

// Reads the file. A file read only part way (its Exif or its note failed to parse) refuses
// the edit: saving from what was read would lose the rest, and the file stays as it is.
int ReadDocument(const std::string& path, ExifDocumentPtr& document) {
  CliReading reading = CliRead(path);
  if (!CliReadFailed(reading)) {
    // A thumbnail that runs past its segment is read as none; the save keeps what the segment holds.
    if (reading.error.code == ErrThumbnail)
      std::fprintf(stderr, "%s: warning %u: %s\n", path.c_str(), ErrThumbnail, CliMessage(MsgThumbnailMissing).c_str());
    document = std::move(reading.document);
    return 1;
  }
  CliReportError(path, reading.error, CliReadMessage(reading.status, reading.error));
  if (reading.partial) CliReportFailure(path, reading.error.code, MsgUpdateFailed);
  return 0;
}

// The message that refuses an edit before it starts, or 0: a MakerNote table needs an open,
// editable note (102); a tag whose value the program maintains itself is never edited (14).
uint32_t EditRefusal(ExifDocument* document, uint32_t kind, uint16_t tag) {
  if (kind >= kIfdMakerNoteFirst &&
      (!ExifMakerNoteTable(document, kind) || !ExifMakerNoteEditable(document)))
    return MsgNoteNotEditable;
  return TagIsEditable(document, kind, tag) ? 0u : uint32_t(MsgTagNotEditable);
}

// Why an open note is not editable, in plain words; nullptr when there is no note to explain.
const char* NoteRefusalReason(ExifDocument* document) {
  MakerNoteContext* context = ExifMakerNoteContext(document);
  if (context == nullptr) return "the MakerNote is not read: it is carried as its bytes";
  if (context->NotEditableReason() != nullptr) return context->NotEditableReason();
  if (context->KeepAsBytes()) return "the MakerNote holds data its tables do not reach: it is carried as its bytes";
  if (!context->editable) return "the MakerNote holds a tag twice, or was not read whole";
  return nullptr;
}

int SaveEdited(const EditOptions& options, ExifDocument* document) {
  SaveLayout layout;
  layout.bigEndian = options.byteOrder.empty() ? document->bigEndian : options.byteOrder == "MM" ? 1 : 0;
  std::string choice = options.makerNote;
  if (choice == "keep" && layout.bigEndian != document->bigEndian) choice = "keep-reorder";
  Prompt prompt{CliAsk, &choice};
  layout.commitMode = options.rebuild ? CommitMode::ForceRebuild : CommitMode::Classify;
  const std::string destination = options.out.empty() ? options.file : options.out;
  FileSetHardLinkPolicy(options.hardLinks == "in-place" ? HardLinksInPlace : HardLinksRefuse);
  ErrorClear();
  const int result = ExifSaveFileWithLayout(options.file, destination, document, &prompt, SaveMode::PendingEdits, layout);
  if (result == SaveWritten) return CliSuccess;
  if (result == SaveFailed && !ExifSaveRefusal().empty()) {
    // A refusal of the safety net says in the same line which tag would have changed.
    std::fprintf(stderr, "%s: error %u: %s: not saved: %s\n", destination.c_str(), ErrorPop(),
                 CliMessage(MsgUpdateFailed).c_str(), ExifSaveRefusal().c_str());
  } else if (result == SaveFailed) {
    // The system's refusal of the place names what refused (a missing folder rather than the
    // file in it); where nothing stands in the way, the save's own reason.
    ErrorDetail error = ErrorPopDetail();
    const ErrorDetail obstacle = CliWriteObstacle(destination);
    if (obstacle.code != 0) error = {error.code ? error.code : obstacle.code, obstacle.systemError, obstacle.path, 0, {}};
    CliReportError(destination, error, MsgUpdateFailed);
  } else if (result == SaveCancelled && options.makerNote == "keep") {
    std::fprintf(stderr, "%s: not saved: the MakerNote cannot stay at its place and keep was asked\n",
                 destination.c_str());
  }
  // The replacement has printed why; a file with several names can still be saved on request.
  if (FileLastFailure().error == EMLINK)
    std::fprintf(stderr, "%s: --hard-links in-place writes into the file itself, so every name shows the edit\n",
                 destination.c_str());
  return CliFailure;
}

int RunEdit(const EditOptions& options, bool isSet) {
  const int64_t kind = ParseKind(options.ifd);
  if (kind < 0) return UsageFailure(options.file, MsgBadIfd);
  const int64_t tag = ParseNumber(options.tag);
  if (tag < 0 || tag > 0xFFFF) return UsageFailure(options.file, MsgBadTag);
  int64_t type = 0;
  std::vector<uint8_t> values;
  int count = 0;
  if (isSet) {
    type = ParseType(options.type);
    if (type < 0) return UsageFailure(options.file, MsgBadType);
    count = ParseTypedValues(uint32_t(type), options.value.data(), uint32_t(options.value.size()), ";", &values);
    if (count <= 0) return UsageFailure(options.file, MsgInputError);
  }
  ExifDocumentPtr document;
  if (!ReadDocument(options.file, document)) return CliFailure;
  if (const uint32_t refusal = EditRefusal(document.get(), uint32_t(kind), uint16_t(tag))) {
    CliReportFailure(options.file, 0, refusal);
    const char* why = refusal == MsgNoteNotEditable ? NoteRefusalReason(document.get()) : nullptr;
    if (why != nullptr) std::fprintf(stderr, "%s: %s\n", options.file.c_str(), why);
    return CliFailure;
  }
  const int queued = isSet ? ExifQueueEdit(document.get(), PendingSet, uint32_t(kind), uint16_t(tag), uint16_t(type),
                                           uint32_t(count), values.data())
                           : ExifQueueEdit(document.get(), PendingDelete, uint32_t(kind), uint16_t(tag), 0, 0, nullptr);
  if (!queued) return UsageFailure(options.file, MsgInputError);
  return SaveEdited(options, document.get());
}

void AddCommonOptions(CLI::App* command, EditOptions& options) {
  command->add_option("FILE", options.file, "the JPEG file to edit")->required();
  command->add_option("--ifd", options.ifd, "table: 1 to 5, 0th, 1st, exif, interop, gps, or a MakerNote table")
      ->required();
  command->add_option("--tag", options.tag, "tag number, decimal or 0x hexadecimal")->required();
  command->add_option("--out", options.out, "write to this file instead of FILE");
  command->add_option("--makernote", options.makerNote, "answer to the MakerNote questions")
      ->check(CLI::IsMember({"rebuild", "keep", "cancel"}));
  command->add_option("--hard-links", options.hardLinks,
                      "a file with several names: refuse (default), or in-place to write into the file itself")
      ->check(CLI::IsMember({"refuse", "in-place"}));
}

}  // namespace

void CliSetRegister(CLI::App& app) {
  static EditOptions setOptions;
  static EditOptions deleteOptions;
  CLI::App* set = app.add_subcommand("set", "Set one tag and save the file");
  AddCommonOptions(set, setOptions);
  set->footer("Example: tavexon-cli set DSC_0001.JPG --ifd 0th --tag 315 --type ASCII --value \"A. Photographer\"");
  set->add_option("--type", setOptions.type, "type name (SHORT, ASCII, ...) or number")->required();
  set->add_option("--value", setOptions.value, "the value; several values separated by ';'")->required();
  set->add_flag("--rebuild", setOptions.rebuild, "rebuild the whole Exif segment");
  set->add_option("--byte-order", setOptions.byteOrder, "byte order of the written Exif")
      ->check(CLI::IsMember({"II", "MM"}));
  set->callback([] {
    const int code = RunEdit(setOptions, true);
    if (code != CliSuccess) throw CLI::RuntimeError(code);
  });
  CLI::App* remove = app.add_subcommand("delete", "Delete one tag and save the file");
  AddCommonOptions(remove, deleteOptions);
  remove->footer("Example: tavexon-cli delete DSC_0001.JPG --ifd 0th --tag 315 --out copy.jpg");
  remove->callback([] {
    const int code = RunEdit(deleteOptions, false);
    if (code != CliSuccess) throw CLI::RuntimeError(code);
  });
}
