// Exif backup: the ".exf" file that keeps one JPEG's Exif to put back later, its import into
// another JPEG (as it stands, or fitted to the target), and the plain text dump of a file's
// Exif.
//
// An ".exf" file is 16 bytes "EXIF_BACK_UP" with four NULs, then one complete APP1 segment
// (0xFF 0xE1, a big-endian length, the payload from "Exif" on), and nothing else. Files are
// byte-compatible with those a Windows install writes, including the length quirk below.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "frame/prompt.h"

constexpr uint32_t kExfHeaderSize = 20;  // magic, marker and length

// EDIT/IMPORTTYPE: 0 fits the Exif to the target (pixel size, thumbnail), 1 copies it unedited.
enum ExfImportType : int { kExfImportFit = 0, kExfImportAsIs = 1 };
int ExfLoadImportType();
void ExfStoreImportType(int type);

// The first Exif APP1 payload of a JPEG, from "Exif" on. 1, or 0 with 771 (no APP1) or 1025.
int ExfExtractPayload(const std::string& jpegPath, std::vector<uint8_t>* payload);

// The bytes of an ".exf" file for a payload. The length's two bytes are computed apart: the
// high byte of size + 2, and the low byte of size plus 2 without carry, so a size whose low
// byte is 0xFE or 0xFF stores a low byte that wrapped beside a high byte that carried.
std::vector<uint8_t> ExfBuild(const uint8_t* payload, uint32_t size);

// The default name of a backup: the text after the last '.' of the file name replaced by
// "exf"; a name without '.' stays as it is.
std::string ExfDefaultName(const std::string& sourcePath);
// A chosen name longer than 4 characters that does not end in ".exf" (without case) gets it.
std::string ExfFixName(const std::string& chosen);

// Writes the backup of sourcePath to outputPath (the name as given). 1, or 0 and the message:
// 31 when the source has no Exif, 34 for any other failure. Nothing is made on failure.
int ExfExport(const std::string& sourcePath, const std::string& outputPath, uint32_t* message);

// Reads an import source: an ".exf" file or a JPEG. 1 with the payload, or 0 with message 35
// (not a backup, cut short, or a payload that is not Exif), 36 (read error), 13 (a length that
// cannot be allocated) or 31 (a JPEG without Exif).
//
// A backup's length is taken from the file's size when its two bytes agree with it, in the
// correct form or in the wrapped form the writer makes; otherwise the stored length is read
// as the Windows reader reads it (low byte less 2, OR high byte shifted by 8).
int ExfReadSource(const std::string& path, std::vector<uint8_t>* payload, uint32_t* message);

// Puts a payload into target, saved as output (the same path replaces it). kExfImportAsIs
// writes it unchanged; kExfImportFit sets 40962 and 40963 to the target's pixel size and, with
// a thumbnail maker installed, replaces the thumbnail with one made from the target. A target
// whose first APP1 is not Exif (none, or XMP) keeps every segment: the Exif is inserted behind
// the start of image and a leading APP0. Returns
// 0 written, -1 failed (message 37), -2 cancelled through the prompt. Nothing reaches output
// before the last step.
int ExfImport(const std::vector<uint8_t>& payload, const std::string& target, const std::string& output, int type,
              const Prompt* prompt, uint32_t* message);

// The fitted import alone: target's first APP1 is replaced by the payload with 40962 and 40963
// set to target's pixel size (and a new thumbnail when a maker is installed). 0, -1 or -2.
int ExfImportFitted(const std::vector<uint8_t>& payload, const std::string& target, const std::string& output,
                    const Prompt* prompt);

// A thumbnail made from a JPEG's main image (the codec installs it); returns 1 with the JPEG
// bytes of the thumbnail. Without one installed, the fitted import keeps the source's thumbnail.
using ExfThumbnailMaker = int (*)(const std::string& jpegPath, std::vector<uint8_t>* thumbnail);
void ExfInstallThumbnailMaker(ExfThumbnailMaker maker);

// The pixel width and height of a JPEG from its first frame header; 1 when found.
int ExfJpegPixelSize(const std::string& jpegPath, uint32_t* width, uint32_t* height);

// The text dump of a file's Exif (CP932, CR LF). 1 with the text, or 0 when the file's read
// reports neither a JPEG nor a NEF document.
int ExfDumpText(const std::string& path, std::string* text);
