#include "exif/exif_writer.h"

#include "frame/error_stack.h"

int ExifClassifyEdits(ExifDocument*) { return EditsRebuild; }
int ExifCommit(ExifDocument*, const uint8_t**, uint32_t*, uint32_t, int, int) { return ErrorPush(ErrInvalidArgument), 0; }
int ExifCopyRaw(ExifDocument*, uint32_t*) { return ErrorPush(ErrInvalidArgument), 0; }
int ExifPatchAll(ExifDocument*, const uint8_t**, uint32_t*) { return ErrorPush(ErrInvalidArgument), 0; }
int ExifApplyEdits(ExifDocument*, const uint8_t**, uint32_t*, uint32_t, int) { return ErrorPush(ErrInvalidArgument), 0; }
int ExifBuild(ExifDocument*, const uint8_t**, uint32_t*, uint32_t, int) { return ErrorPush(ErrInvalidArgument), 0; }
int ExifWriteIfd(const ExifContext*, const IfdTable*, uint8_t*, uint32_t, uint32_t, uint32_t*) { return 0; }
int ExifWriteIfdKeepMakerNote(const ExifContext*, const IfdTable*, uint8_t*, uint32_t, uint32_t, uint32_t*) { return 0; }
int ExifPatchEntry(uint8_t*, uint32_t, uint16_t, uint16_t, uint32_t, const void*, uint32_t, const uint8_t*) { return -1; }
void ExifPatchValueField(uint8_t*, uint16_t, uint32_t, uint32_t, uint32_t) {}
uint8_t ExifNextPadByte() { return 0; }
