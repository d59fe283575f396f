#include "makernote/makernote_unread.h"

#include "makernote/makernote_recognise.h"

namespace {

constexpr MakerNoteTableName kCanonTables[] = {{257, "Canon MakerNote"}};
constexpr MakerNoteTableName kFujifilmTables[] = {{257, "FUJIFILM MakerNote"}};

}  // namespace

const MakerNoteDescriptor kCanonNote{
    .family = FamilyCanon, .displayName = "Canon", .recognise = MakerNoteRecogniseCanon, .tables = kCanonTables, .protectedTags = {}};
const MakerNoteDescriptor kFujifilmNote{.family = FamilyFujifilm,
                                        .displayName = "FUJFILM",
                                        .recognise = MakerNoteRecogniseFujifilm,
                                        .tables = kFujifilmTables,
                                        .protectedTags = {}};
