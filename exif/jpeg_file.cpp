#include "exif/jpeg_file.h"

#include "exif/exif_document.h"
#include "frame/error_stack.h"

int JpegReplaceApp1(const std::string&, const std::string&, const uint8_t*, uint32_t) { return ErrorPush(ErrFileIo), 0; }
int JpegDeleteSegments(const std::string&, const std::string&, uint32_t) { return ErrorPush(ErrFileIo), 0; }
int FileSetTimeFromDate(const std::string&, const char*) { return ErrorPush(ErrFileIo), 0; }
std::string FileTemporaryPath(const std::string& destination) { return destination + ".tmp"; }
int FileReplaceDestination(const std::string&, const std::string&) { return ErrorPush(ErrFileIo), 0; }
