// What every subcommand prints: the program's messages in UTF-8 on standard error, and
// CP932 texts converted for the terminal; and the one way every subcommand reads a file.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "exif/exif_document.h"
#include "frame/error_stack.h"

// Exit statuses of tavexon-cli.
enum CliExit : int { CliSuccess = 0, CliFailure = 1, CliUsage = 2 };

// The text of a message by its number, in UTF-8 (empty for an unknown number); with `path`,
// its "%s" replaced by the path as given (messages 46 and 117 name the file).
std::string CliMessage(uint32_t id, const std::string& path = {});

// Prints "path: error CODE: MESSAGE" (the message by its number, in UTF-8) to standard error;
// with code 0, "path: MESSAGE".
void CliReportFailure(const std::string& path, uint32_t code, uint32_t messageId);

// Prints a failure with what the error stack kept: when the system gave a reason,
// "path: error CODE: REASON" and the message on the next line; a line of a text file and what
// was expected there follow as "path: line N: NOTE".
void CliReportError(const std::string& path, const ErrorDetail& error, uint32_t messageId);

// The message for a failed or flagged read, chosen by the error code first and the status
// flags after: a file that cannot be opened gives 46, a read the system broke 36.
uint32_t CliReadMessage(uint32_t status, const ErrorDetail& error);

// A file's reading as every subcommand does it. After a parse that failed part way, the
// document holds what was read before the failure and `partial` is set: it may be shown,
// never saved.
struct CliReading {
  ExifDocumentPtr document;
  uint32_t status = 0;
  ErrorDetail error;  // the code that ended or flagged the read, with its detail; code 0 if none
  bool partial = false;
};
CliReading CliRead(const std::string& path);
// The same for a JPEG whose first APP1 payload has been read already (by the read-ahead reader).
CliReading CliReadSegment(const std::string& path, const std::vector<uint8_t>& app1);

// The read failed, or stopped part way (the parse, or the MakerNote's).
bool CliReadFailed(const CliReading& reading);

// Why a destination cannot be written, as the system says it: the file's own refusal, or its
// folder's; errno and the path refused, code 0 when nothing stands in the way.
ErrorDetail CliWriteObstacle(const std::string& destination);
