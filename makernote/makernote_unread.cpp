#include "makernote/makernote_unread.h"

#include "makernote/makernote_recognise.h"

namespace {

constexpr MakerNoteTableName kCanonTables[] = {{257, "Canon MakerNote"}};
constexpr MakerNoteTableName kFujifilmTables[] = {{257, "FUJIFILM MakerNote"}};
constexpr MakerNoteTableName kOlympusTables[] = {
    {257, "OLYMPUS MakerNote Main IFD"}, {258, "OLYMPUS MakerNote Sub IFD1"}, {259, "OLYMPUS MakerNote Sub IFD2"},
    {260, "OLYMPUS MakerNote Sub IFD3"}, {261, "OLYMPUS MakerNote Sub IFD4"}, {262, "OLYMPUS MakerNote Sub IFD5"},
};

// The pointers each handler keeps itself; Canon and Fujifilm have none.
constexpr MakerNoteProtectedTag kOlympusProtected[] = {
    {257, 8208}, {257, 8224}, {257, 8240}, {257, 8256}, {257, 8272}};

}  // namespace

const MakerNoteDescriptor kCanonNote{
    .family = FamilyCanon, .displayName = "Canon", .recognise = MakerNoteRecogniseCanon, .tables = kCanonTables, .protectedTags = {}};
const MakerNoteDescriptor kFujifilmNote{.family = FamilyFujifilm,
                                        .displayName = "FUJFILM",
                                        .recognise = MakerNoteRecogniseFujifilm,
                                        .tables = kFujifilmTables,
                                        .protectedTags = {}};
const MakerNoteDescriptor kOlympusNote{.family = FamilyOlympus,
                                       .displayName = "OLYMUPS",
                                       .recognise = MakerNoteRecogniseOlympus,
                                       .tables = kOlympusTables,
                                       .protectedTags = kOlympusProtected};
